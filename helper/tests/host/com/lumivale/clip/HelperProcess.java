package com.lumivale.clip;

import java.io.BufferedReader;
import java.io.File;
import java.io.IOException;
import java.io.InputStreamReader;
import java.io.OutputStream;
import java.nio.charset.Charset;
import java.nio.file.Files;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.concurrent.LinkedBlockingQueue;
import java.util.concurrent.TimeUnit;

// The shipped helper running in a JVM of its own on a clipboard file, driven line by line.
final class HelperProcess implements AutoCloseable {
  private static final Charset UTF8 = Charset.forName("UTF-8");
  private static final long DEADLINE_S = 60;

  final File clipFile;
  private final Process process;
  private final LinkedBlockingQueue<String> lines = new LinkedBlockingQueue<String>();

  HelperProcess(String classpath, File clipFile, List<String> properties, String... args)
      throws IOException {
    this.clipFile = clipFile;
    List<String> command = new ArrayList<String>();
    command.add(new File(System.getProperty("java.home"), "bin/java").getPath());
    command.add("-Dlumivale.clip.file=" + clipFile.getPath());
    command.add("-Dlumivale.clip.sdk=33");
    command.addAll(properties);
    command.addAll(Arrays.asList("-cp", classpath, "com.lumivale.clip.Main"));
    command.addAll(Arrays.asList(args));
    process = new ProcessBuilder(command).redirectError(ProcessBuilder.Redirect.INHERIT).start();
    Thread reader = new Thread() {
      @Override
      public void run() {
        try {
          BufferedReader in =
              new BufferedReader(new InputStreamReader(process.getInputStream(), UTF8));
          for (String line; (line = in.readLine()) != null;)
            lines.add(line);
        } catch (IOException e) {
          // The helper is gone; next() says so.
        }
      }
    };
    reader.setDaemon(true);
    reader.start();
  }

  void send(String line) throws IOException {
    OutputStream in = process.getOutputStream();
    in.write((line + "\n").getBytes(UTF8));
    in.flush();
  }

  void closeInput() throws IOException { process.getOutputStream().close(); }

  String next() throws InterruptedException {
    String line = lines.poll(DEADLINE_S, TimeUnit.SECONDS);
    if (line == null) throw new AssertionError("the helper wrote no line");
    return line;
  }

  int waitForExit() throws InterruptedException {
    if (!process.waitFor(DEADLINE_S, TimeUnit.SECONDS))
      throw new AssertionError("the helper did not end");
    return process.exitValue();
  }

  // Puts a clip on the clipboard as another app would: in one step.
  void copy(String json) throws IOException {
    File staged = new File(clipFile.getPath() + ".test");
    Files.write(staged.toPath(), json.getBytes(UTF8));
    if (!staged.renameTo(clipFile)) throw new IOException("could not replace " + clipFile);
  }

  String clipboardFile() throws IOException {
    return new String(Files.readAllBytes(clipFile.toPath()), UTF8);
  }

  @Override
  public void close() throws Exception {
    process.destroyForcibly();
    process.waitFor(DEADLINE_S, TimeUnit.SECONDS);
  }
}
