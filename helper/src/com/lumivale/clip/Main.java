package com.lumivale.clip;

import java.io.BufferedReader;
import java.io.File;
import java.io.FileDescriptor;
import java.io.FileOutputStream;
import java.io.InputStreamReader;
import java.io.PrintStream;
import java.nio.charset.Charset;

// The clipboard helper, run on the tablet with app_process: one JSON object per line on
// standard input and output. Usage: Main [--since MILLIS]
public final class Main {
  private static final long PING_TIMEOUT_MS = 30000;

  private static final Object alive = new Object();
  private static long lastHeard;

  public static void main(String[] args) {
    // Some vendor builds print stack traces to System.out: keep the protocol to ourselves.
    LineWriter out = new LineWriter(new FileOutputStream(FileDescriptor.out));
    System.setOut(new PrintStream(new FileOutputStream(FileDescriptor.err), true));
    int status = 0;
    try {
      status = run(args, out);
    } catch (Throwable e) {
      out.error(Session.describe(e));
      status = 1;
    }
    // Framework code may have left threads that would keep us alive.
    System.exit(status);
  }

  private static int run(String[] args, LineWriter out) throws Exception {
    long since = -1;
    for (int i = 0; i < args.length; ++i) {
      if (args[i].equals("--since") && i + 1 < args.length) {
        since = Long.parseLong(args[++i]);
      } else {
        out.error("unknown argument " + args[i]);
        return 2;
      }
    }
    Clipboard clipboard;
    try {
      clipboard = open();
    } catch (ClipboardException e) {
      out.error(e.getMessage());
      return 1;
    }
    Session session = new Session(clipboard, out, since);
    heard();
    startWatchdog(Long.getLong("lumivale.clip.pingTimeoutMs", PING_TIMEOUT_MS));
    session.start();
    BufferedReader in =
        new BufferedReader(new InputStreamReader(System.in, Charset.forName("UTF-8")));
    for (String line; (line = in.readLine()) != null;) {
      heard();
      if (!session.handle(line)) break;
    }
    return 0;
  }

  // The tablet's clipboard, or on a run without Android the host's clipboard file.
  private static Clipboard open() throws Exception {
    try {
      Class.forName("android.os.ServiceManager");
    } catch (ClassNotFoundException e) {
      String path = System.getProperty("lumivale.clip.file");
      if (path == null)
        throw new ClipboardException("no clipboard: not on Android and no lumivale.clip.file");
      return new HostClipboard(new File(path), Integer.getInteger("lumivale.clip.sdk", 0));
    }
    return AndroidClipboard.open();
  }

  private static void heard() {
    synchronized (alive) {
      lastHeard = System.nanoTime() / 1000000;
    }
  }

  // Ends the helper once nobody has written to it for `timeoutMs`.
  private static void startWatchdog(final long timeoutMs) {
    Thread watchdog = new Thread("ping-watchdog") {
      @Override
      public void run() {
        synchronized (alive) {
          while (true) {
            long left = lastHeard + timeoutMs - System.nanoTime() / 1000000;
            if (left <= 0) System.exit(0);
            try {
              alive.wait(left);
            } catch (InterruptedException e) {
              return;
            }
          }
        }
      }
    };
    watchdog.setDaemon(true);
    watchdog.start();
  }
}
