package com.lumivale.clip;

import android.content.ClipData;
import android.content.ClipDescription;
import android.content.IClipboard;
import android.content.IOnPrimaryClipChangedListener;
import android.os.IBinder;
import android.os.PersistableBundle;
import android.os.ServiceManager;
import java.lang.reflect.Method;

// The tablet's clipboard through the hidden clipboard service, as the shell user.
final class AndroidClipboard implements Clipboard {
  static final String CALLING_PACKAGE = "com.android.shell";
  static final String SENSITIVE = "android.content.extra.IS_SENSITIVE";
  static final String SUPPRESS_OVERLAY = "com.android.systemui.SUPPRESS_CLIPBOARD_OVERLAY";
  private static final int SHELL_UID = 2000;

  private final Object service;
  private final int sdk;
  private final MethodForm get;
  private final MethodForm set;
  private final MethodForm listen;

  AndroidClipboard(Object service, int sdk) throws ClipboardException {
    this.service = service;
    this.sdk = sdk;
    Class<?> type = service.getClass();
    get = MethodForm.find(type, "getPrimaryClip", null, CALLING_PACKAGE);
    set = MethodForm.find(type, "setPrimaryClip", ClipData.class, CALLING_PACKAGE);
    listen = MethodForm.find(type, "addPrimaryClipChangedListener",
        IOnPrimaryClipChangedListener.class, CALLING_PACKAGE);
  }

  static AndroidClipboard open() throws Exception {
    becomeShellUser();
    IBinder binder = ServiceManager.getService("clipboard");
    if (binder == null) throw new ClipboardException("the clipboard service is not running");
    return new AndroidClipboard(IClipboard.Stub.asInterface(binder), sdkLevel());
  }

  @Override
  public String mode() {
    return "service " + MethodForm.signature(get.method);
  }

  @Override
  public int sdk() {
    return sdk;
  }

  @Override
  public Clip current() throws Exception {
    ClipData clip = (ClipData) get.invoke(service, null);
    if (clip == null) return null;
    ClipDescription description = clip.getDescription();
    CharSequence text = clip.getItemCount() > 0 ? clip.getItemAt(0).getText() : null;
    return new Clip(
        text == null ? null : text.toString(), sensitive(description), copiedAt(description));
  }

  @Override
  public void set(String text) throws Exception {
    ClipData clip = ClipData.newPlainText(null, text);
    PersistableBundle extras = new PersistableBundle();
    extras.putBoolean(SUPPRESS_OVERLAY, true);
    call(clip.getDescription(), "setExtras", new Class<?>[] {PersistableBundle.class}, extras);
    set.invoke(service, clip);
  }

  @Override
  public void watch(final Runnable changed) throws Exception {
    listen.invoke(service, new IOnPrimaryClipChangedListener.Stub() {
      @Override
      public void dispatchPrimaryClipChanged() {
        changed.run();
      }
    });
  }

  private static boolean sensitive(ClipDescription description) {
    Object extras = call(description, "getExtras", new Class<?>[ 0 ]);
    Object flag = extras == null
        ? null
        : call(
            extras, "getBoolean", new Class<?>[] {String.class, boolean.class}, SENSITIVE, false);
    return Boolean.TRUE.equals(flag);
  }

  private static long copiedAt(ClipDescription description) {
    Object at = call(description, "getTimestamp", new Class<?>[ 0 ]);
    return at instanceof Long && (Long) at > 0 ? (Long) at : System.currentTimeMillis();
  }

  // A public method newer than the API compiled against: null when this build lacks it.
  private static Object call(Object target, String name, Class<?>[] types, Object... arguments) {
    if (target == null) return null;
    try {
      Method method = target.getClass().getMethod(name, types);
      return method.invoke(target, arguments);
    } catch (Exception e) {
      return null;
    }
  }

  private static int sdkLevel() {
    try {
      return Class.forName("android.os.Build$VERSION").getField("SDK_INT").getInt(null);
    } catch (Exception e) {
      return 0;
    }
  }

  // The service accepts "com.android.shell" only from the shell's uid.
  private static void becomeShellUser() {
    try {
      Class<?> process = Class.forName("android.os.Process");
      if ((Integer) process.getMethod("myUid").invoke(null) == 0)
        process.getMethod("setUid", int.class).invoke(null, SHELL_UID);
    } catch (Exception e) {
      // Not root, or no way to change: the service says so if it matters.
    }
  }
}
