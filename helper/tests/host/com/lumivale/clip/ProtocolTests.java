package com.lumivale.clip;

import static com.lumivale.clip.HostTests.add;
import static com.lumivale.clip.HostTests.check;
import static com.lumivale.clip.HostTests.checkEqual;

import java.io.File;
import java.nio.file.Files;
import java.util.Arrays;
import java.util.Collections;
import java.util.List;
import org.json.JSONObject;

// The protocol, byte for byte, through the shipped helper on a host clipboard file.
final class ProtocolTests {
  private static final String READY = "{\"type\":\"ready\",\"sdk\":33,\"mode\":\"host file\"}";
  private static String classpath;

  // A helper on a new clipboard file that holds `clip` (none when null) before it starts.
  static HelperProcess start(List<String> properties, String clip, String... args)
      throws Exception {
    File folder = Files.createTempDirectory("clip-helper-test").toFile();
    folder.deleteOnExit();
    File clipFile = new File(folder, "clipboard.json");
    clipFile.deleteOnExit();
    if (clip != null) Files.write(clipFile.toPath(), clip.getBytes("UTF-8"));
    return new HelperProcess(classpath, clipFile, properties, args);
  }

  static HelperProcess started(String... args) throws Exception {
    HelperProcess helper = start(Collections.<String>emptyList(), null, args);
    checkEqual(READY, helper.next());
    return helper;
  }

  static String repeat(String unit, int times) {
    StringBuilder text = new StringBuilder();
    for (int i = 0; i < times; ++i)
      text.append(unit);
    return text.toString();
  }

  static void register(String helperClasspath) {
    classpath = helperClasspath;

    add("set and get carry the text byte for byte: lines, UTF-8, emoji, quotes, slashes", () -> {
      try (HelperProcess helper = started()) {
        checkEqual("{\"type\":\"empty\"}", sendAndRead(helper, "{\"type\":\"get\"}"));
        // As the desktop writes it: raw UTF-8, slashes as they are, control characters
        // escaped.
        String set = "{\"type\":\"set\",\"text\":\"line one\\nline \\\"two\\\"\\t\\u0001 a/b"
            + " caf\u00e9 \uD83D\uDE00\"}";
        checkEqual("{\"type\":\"ack\"}", sendAndRead(helper, set));
        String text = "line one\nline \"two\"\t\u0001 a/b caf\u00e9 \uD83D\uDE00";
        JSONObject stored = new JSONObject(helper.clipboardFile());
        checkEqual(text, stored.getString("text"));
        checkEqual("{\"type\":\"clip\",\"text\":\"line one\\nline \\\"two\\\"\\t\\u0001 a\\/b"
                + " caf\u00e9 \uD83D\uDE00\",\"reply\":true,\"at\":" + stored.getLong("at") + "}",
            sendAndRead(helper, "{\"type\":\"get\"}"));
      }
    });

    add("the echo of our own set is dropped and the next copy on the tablet is reported", () -> {
      try (HelperProcess helper = started()) {
        checkEqual(
            "{\"type\":\"ack\"}", sendAndRead(helper, "{\"type\":\"set\",\"text\":\"mine\"}"));
        helper.copy("{\"text\":\"theirs\",\"at\":1000}");
        checkEqual(
            "{\"type\":\"clip\",\"text\":\"theirs\",\"reply\":false,\"at\":1000}", helper.next());
      }
    });

    add("setting the text the clipboard already holds writes nothing", () -> {
      try (HelperProcess helper = started()) {
        helper.copy("{\"text\":\"same\",\"at\":5}");
        checkEqual("{\"type\":\"clip\",\"text\":\"same\",\"reply\":false,\"at\":5}", helper.next());
        checkEqual(
            "{\"type\":\"ack\"}", sendAndRead(helper, "{\"type\":\"set\",\"text\":\"same\"}"));
        checkEqual("{\"text\":\"same\",\"at\":5}", helper.clipboardFile());
      }
    });

    add("sensitive clips and clips that are not text are skipped with their reason", () -> {
      try (HelperProcess helper = started()) {
        helper.copy("{\"text\":\"hunter2\",\"sensitive\":true,\"at\":7}");
        checkEqual("{\"type\":\"skipped\",\"reason\":\"sensitive\",\"reply\":false,\"at\":7}",
            helper.next());
        checkEqual("{\"type\":\"skipped\",\"reason\":\"sensitive\",\"reply\":true,\"at\":7}",
            sendAndRead(helper, "{\"type\":\"get\"}"));
        helper.copy("{\"at\":8}");
        checkEqual("{\"type\":\"skipped\",\"reason\":\"not-text\",\"reply\":false,\"at\":8}",
            helper.next());
      }
    });

    add("256 KB of UTF-8 goes across; one byte more is skipped either way", () -> {
      String limit = repeat("\u00e9", 128 * 1024);
      try (HelperProcess helper = started()) {
        helper.copy(new JSONObject().put("text", limit).put("at", 1).toString());
        checkEqual(new JSONObject()
                       .put("type", "clip")
                       .put("text", limit)
                       .put("reply", false)
                       .put("at", 1)
                       .toString(),
            helper.next());
        helper.copy(new JSONObject().put("text", limit + "x").put("at", 2).toString());
        checkEqual("{\"type\":\"skipped\",\"reason\":\"too-large\",\"reply\":false,\"at\":2}",
            helper.next());
        String before = helper.clipboardFile();
        String set = new JSONObject().put("type", "set").put("text", limit + "y").toString();
        checkEqual("{\"type\":\"skipped\",\"reason\":\"too-large\",\"reply\":true}",
            sendAndRead(helper, set));
        checkEqual(before, helper.clipboardFile());
      }
    });

    add("--since reports what was copied after it, and no older clip", () -> {
      String away = "{\"text\":\"while away\",\"at\":5000}";
      List<String> none = Collections.<String>emptyList();
      try (HelperProcess helper = start(none, away, "--since", "4999")) {
        checkEqual(READY, helper.next());
        checkEqual("{\"type\":\"clip\",\"text\":\"while away\",\"reply\":false,\"at\":5000}",
            helper.next());
      }
      try (HelperProcess helper = start(none, away, "--since", "5000")) {
        checkEqual(READY, helper.next());
        helper.copy("{\"text\":\"new\",\"at\":6000}");
        checkEqual(
            "{\"type\":\"clip\",\"text\":\"new\",\"reply\":false,\"at\":6000}", helper.next());
      }
    });

    add("a bad request is answered with an error and the helper goes on", () -> {
      try (HelperProcess helper = started()) {
        checkEqual("{\"type\":\"error\",\"message\":\"undecodable request\"}",
            sendAndRead(helper, "{\"type\":"));
        checkEqual("{\"type\":\"error\",\"message\":\"unknown request type paste\"}",
            sendAndRead(helper, "{\"type\":\"paste\"}"));
        checkEqual("{\"type\":\"empty\"}", sendAndRead(helper, "{\"type\":\"get\"}"));
      }
    });

    add("a ping is answered; quit, the end of the input and a missed ping end the helper", () -> {
      try (HelperProcess helper = started()) {
        checkEqual("{\"type\":\"pong\"}", sendAndRead(helper, "{\"type\":\"ping\"}"));
        helper.send("{\"type\":\"quit\"}");
        checkEqual(0, helper.waitForExit());
      }
      try (HelperProcess helper = started()) {
        helper.closeInput();
        checkEqual(0, helper.waitForExit());
      }
      List<String> quickTimeout = Arrays.asList("-Dlumivale.clip.pingTimeoutMs=200");
      try (HelperProcess helper = start(quickTimeout, null)) {
        checkEqual(READY, helper.next());
        checkEqual(0, helper.waitForExit());
      }
    });

    add("an unknown argument is refused", () -> {
      try (HelperProcess helper = start(Collections.<String>emptyList(), null, "--replay")) {
        checkEqual("{\"type\":\"error\",\"message\":\"unknown argument --replay\"}", helper.next());
        checkEqual(2, helper.waitForExit());
      }
    });
  }

  private static String sendAndRead(HelperProcess helper, String line) throws Exception {
    helper.send(line);
    String answer = helper.next();
    check(answer != null, "an answer to " + line);
    return answer;
  }
}
