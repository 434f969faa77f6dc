package com.lumivale.clip;

import static com.lumivale.clip.HostTests.add;
import static com.lumivale.clip.HostTests.check;
import static com.lumivale.clip.HostTests.checkEqual;

import android.content.ClipData;
import java.util.concurrent.atomic.AtomicInteger;

// The helper's way into the hidden clipboard service, against every known method form.
final class ReflectionTests {
  static void register() {
    add("every known form of the service gets, sets and watches the clip as the shell package",
        () -> {
          for (ClipboardForms.Service service : ClipboardForms.known()) {
            String form = service.form;
            AndroidClipboard clipboard = new AndroidClipboard(service.binder, 34);
            check(clipboard.current() == null, form + ": no clip yet");
            final AtomicInteger changes = new AtomicInteger();
            clipboard.watch(new Runnable() {
              public void run() {
                changes.incrementAndGet();
              }
            });
            clipboard.set("from the desktop");
            checkEqual("from the desktop", clipboard.current().text);
            checkEqual(1, changes.get());
            check(service.clip.getDescription().getExtras().getBoolean(
                      AndroidClipboard.SUPPRESS_OVERLAY, false),
                form + ": the copy overlay is suppressed");
            for (String pkg : service.packages)
              checkEqual("com.android.shell", pkg);
          }
        });

    add("a clip marked sensitive, one without text, and its time are read from the description",
        () -> {
          ClipboardForms.Service service =
              new ClipboardForms.Service(ClipboardForms.PackageTagUserDevice.class);
          AndroidClipboard clipboard = new AndroidClipboard(service.binder, 34);
          ClipData secret = new ClipData("hunter2");
          android.os.PersistableBundle extras = new android.os.PersistableBundle();
          extras.putBoolean("android.content.extra.IS_SENSITIVE", true);
          secret.getDescription().setExtras(extras);
          secret.getDescription().setTimestamp(1234);
          service.clip = secret;
          Clip clip = clipboard.current();
          check(clip.sensitive, "sensitive");
          checkEqual(1234L, clip.at);
          service.clip = new ClipData(null);
          check(clipboard.current().text == null, "not text");
        });

    add("a form that cannot be filled fails naming the signature found", () -> {
      try {
        new AndroidClipboard(new ClipboardForms.Service(ClipboardForms.Unknown.class).binder, 34);
        throw new AssertionError("no failure");
      } catch (Exception e) {
        // The jar made from the dex declares no checked exceptions.
        check(e instanceof ClipboardException, "a ClipboardException: " + e);
        checkEqual(
            "no usable form of IClipboard.getPrimaryClip: found getPrimaryClip(String, Object)",
            e.getMessage());
      }
    });

    add("the ready line names the form in use", () -> {
      checkEqual("service getPrimaryClip(String, String, int, int)",
          new AndroidClipboard(
              new ClipboardForms.Service(ClipboardForms.PackageTagUserDevice.class).binder, 34)
              .mode());
    });
  }
}
