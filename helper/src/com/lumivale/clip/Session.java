package com.lumivale.clip;

import java.nio.charset.Charset;
import org.json.JSONException;
import org.json.JSONObject;

// The line protocol over one clipboard: requests in, clips and answers out.
final class Session {
  static final int MAX_TEXT_BYTES = 256 * 1024;
  static final int MAX_LINE = 350552;

  private final Clipboard clipboard;
  private final LineWriter out;
  private final long since; // clips copied at or before it are not reported; -1: none given
  private String ownText; // what our last set wrote, so that its echo is dropped
  private String lastText; // the clip last reported, with its time, so that it goes once
  private long lastAt = -1;

  Session(Clipboard clipboard, LineWriter out, long since) {
    this.clipboard = clipboard;
    this.out = out;
    this.since = since;
  }

  // Changes are watched from before the ready line, and reported only after it.
  synchronized void start() throws Exception {
    clipboard.watch(new Runnable() {
      @Override
      public void run() {
        changed();
      }
    });
    out.send("ready", "sdk", clipboard.sdk(), "mode", clipboard.mode());
    // After a restart, what was copied while we were away is reported; older clips are not.
    if (since >= 0) changed();
  }

  // Handles one request line; false once asked to quit.
  boolean handle(String line) {
    if (line.length() > MAX_LINE) {
      out.error("request longer than " + MAX_LINE + " bytes");
      return true;
    }
    String type;
    JSONObject request;
    try {
      request = new JSONObject(line);
      type = request.getString("type");
    } catch (JSONException e) {
      out.error("undecodable request");
      return true;
    }
    try {
      if (type.equals("set")) {
        set(request.getString("text"));
      } else if (type.equals("get")) {
        get();
      } else if (type.equals("quit")) {
        return false;
      } else if (type.equals("ping")) {
        // The answer tells the desktop that the tablet is still there: a connection that
        // went away without closing would otherwise look alive.
        out.send("pong");
      } else {
        out.error("unknown request type " + type);
      }
    } catch (JSONException e) {
      out.error("undecodable request");
    } catch (Exception e) {
      out.error(describe(e));
    }
    return true;
  }

  private synchronized void set(String text) throws Exception {
    if (tooLarge(text)) {
      out.send("skipped", "reason", "too-large", "reply", true);
      return;
    }
    // Setting the same text again would only fill the keyboard's clipboard history.
    Clip current = clipboard.current();
    if (current == null || current.sensitive || !text.equals(current.text)) {
      ownText = text;
      clipboard.set(text);
    }
    out.send("ack");
  }

  private synchronized void get() throws Exception {
    Clip clip = clipboard.current();
    if (clip == null)
      out.send("empty");
    else
      report(clip, true);
  }

  private synchronized void changed() {
    Clip clip;
    try {
      clip = clipboard.current();
    } catch (Exception e) {
      out.error(describe(e));
      return;
    }
    if (clip == null || (since >= 0 && clip.at <= since)) return;
    if (clip.text != null && clip.text.equals(ownText)) return;
    ownText = null;
    if (clip.at == lastAt && same(clip.text, lastText)) return;
    lastAt = clip.at;
    lastText = clip.text;
    report(clip, false);
  }

  private void report(Clip clip, boolean reply) {
    String reason = null;
    if (clip.sensitive)
      reason = "sensitive";
    else if (clip.text == null)
      reason = "not-text";
    else if (tooLarge(clip.text))
      reason = "too-large";
    if (reason != null)
      out.send("skipped", "reason", reason, "reply", reply, "at", clip.at);
    else
      out.send("clip", "text", clip.text, "reply", reply, "at", clip.at);
  }

  private static boolean same(String a, String b) { return a == null ? b == null : a.equals(b); }

  static boolean tooLarge(String text) {
    return text.length() > MAX_TEXT_BYTES / 4
        && text.getBytes(Charset.forName("UTF-8")).length > MAX_TEXT_BYTES;
  }

  static String describe(Throwable e) {
    while (e.getCause() != null
        && (e instanceof java.lang.reflect.InvocationTargetException || e.getMessage() == null))
      e = e.getCause();
    String message = e.getMessage();
    return message == null ? e.getClass().getName() : message;
  }
}
