package com.lumivale.clip;

import java.io.IOException;
import java.io.OutputStream;
import java.io.OutputStreamWriter;
import java.io.Writer;
import java.nio.charset.Charset;
import org.json.JSONException;
import org.json.JSONObject;

// Writes protocol lines, one JSON object each, in UTF-8; safe from any thread.
final class LineWriter {
  private final Writer out;

  LineWriter(OutputStream stream) {
    out = new OutputStreamWriter(stream, Charset.forName("UTF-8"));
  }

  // One line {"type":TYPE, KEY:VALUE, ...}, its keys in the order given.
  void send(String type, Object... fields) {
    String line;
    try {
      JSONObject message = new JSONObject().put("type", type);
      for (int i = 0; i + 1 < fields.length; i += 2)
        message.put((String) fields[i], fields[i + 1]);
      line = message.toString();
    } catch (JSONException e) {
      throw new IllegalArgumentException(e);
    }
    synchronized (this) {
      try {
        out.write(line);
        out.write('\n');
        out.flush();
      } catch (IOException e) {
        // Nobody reads us any more.
        System.exit(0);
      }
    }
  }

  void error(String message) { send("error", "message", message); }
}
