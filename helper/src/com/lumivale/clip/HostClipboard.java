package com.lumivale.clip;

import java.io.ByteArrayOutputStream;
import java.io.File;
import java.io.FileInputStream;
import java.io.FileNotFoundException;
import java.io.FileOutputStream;
import java.io.IOException;
import java.io.InputStream;
import java.io.OutputStream;
import java.nio.charset.Charset;
import java.util.Arrays;
import org.json.JSONObject;

// The clipboard of a run without Android (tests, the stand-in tablet): one JSON file,
// {"text":..., "sensitive":..., "at":...}, that whoever drives the run reads and writes.
// A clip without "text" holds something other than plain text.
final class HostClipboard implements Clipboard {
  private static final Charset UTF8 = Charset.forName("UTF-8");
  private static final long POLL_MS = 20;

  private final File file;
  private final int sdk;

  HostClipboard(File file, int sdk) {
    this.file = file;
    this.sdk = sdk;
  }

  @Override
  public String mode() {
    return "host file";
  }

  @Override
  public int sdk() {
    return sdk;
  }

  @Override
  public Clip current() throws Exception {
    byte[] bytes = read();
    if (bytes == null) return null;
    JSONObject clip = new JSONObject(new String(bytes, UTF8));
    return new Clip(clip.has("text") ? clip.getString("text") : null,
        clip.optBoolean("sensitive", false), clip.optLong("at", file.lastModified()));
  }

  @Override
  public void set(String text) throws Exception {
    JSONObject clip = new JSONObject()
                          .put("text", text)
                          .put("sensitive", false)
                          .put("at", System.currentTimeMillis());
    File staged = new File(file.getPath() + ".new");
    OutputStream out = new FileOutputStream(staged);
    try {
      out.write(clip.toString().getBytes(UTF8));
    } finally {
      out.close();
    }
    if (!staged.renameTo(file)) throw new IOException("could not replace " + file);
  }

  @Override
  public void watch(final Runnable changed) throws Exception {
    final byte[] first = read();
    Thread poller = new Thread("clip-poll") {
      @Override
      public void run() {
        byte[] seen = first;
        while (true) {
          try {
            Thread.sleep(POLL_MS);
            byte[] now = read();
            if (!Arrays.equals(now, seen)) {
              seen = now;
              changed.run();
            }
          } catch (Exception e) {
            return;
          }
        }
      }
    };
    poller.setDaemon(true);
    poller.start();
  }

  private byte[] read() throws IOException {
    InputStream in;
    try {
      in = new FileInputStream(file);
    } catch (FileNotFoundException e) {
      return null;
    }
    try {
      ByteArrayOutputStream bytes = new ByteArrayOutputStream();
      byte[] buffer = new byte[65536];
      for (int n; (n = in.read(buffer)) > 0;)
        bytes.write(buffer, 0, n);
      return bytes.toByteArray();
    } finally {
      in.close();
    }
  }
}
