package com.lumivale.clip;

import android.content.ClipData;
import android.content.IOnPrimaryClipChangedListener;
import java.lang.reflect.InvocationHandler;
import java.lang.reflect.Method;
import java.lang.reflect.Proxy;
import java.util.ArrayList;
import java.util.List;

// Stand-ins for the hidden clipboard service, one per method form seen on real builds.
final class ClipboardForms {
  // Android 10 to 13 as first released.
  interface PackageUser {
    ClipData getPrimaryClip(String pkg, int user);

    void setPrimaryClip(ClipData clip, String pkg, int user);

    void addPrimaryClipChangedListener(IOnPrimaryClipChangedListener l, String pkg, int user);
  }

  // Android 13 from its December 2022 update.
  interface PackageTagUser {
    ClipData getPrimaryClip(String pkg, String tag, int user);

    void setPrimaryClip(ClipData clip, String pkg, String tag, int user);

    void addPrimaryClipChangedListener(
        IOnPrimaryClipChangedListener l, String pkg, String tag, int user);
  }

  // Android 14 and later.
  interface PackageTagUserDevice {
    ClipData getPrimaryClip(String pkg, String tag, int user, int device);

    void setPrimaryClip(ClipData clip, String pkg, String tag, int user, int device);

    void addPrimaryClipChangedListener(
        IOnPrimaryClipChangedListener l, String pkg, String tag, int user, int device);
  }

  // The vendor forms.
  interface PackageUserTag {
    ClipData getPrimaryClip(String pkg, int user, String tag);

    void setPrimaryClip(ClipData clip, String pkg, int user, String tag);

    void addPrimaryClipChangedListener(
        IOnPrimaryClipChangedListener l, String pkg, int user, String tag);
  }

  interface WithFlag {
    ClipData getPrimaryClip(String pkg, String tag, int user, int device, boolean flag);

    void setPrimaryClip(ClipData clip, String pkg, String tag, int user, int device, boolean f);

    void addPrimaryClipChangedListener(
        IOnPrimaryClipChangedListener l, String pkg, String tag, int user, int device, boolean f);
  }

  interface ThreeTags {
    ClipData getPrimaryClip(
        String pkg, String a, String b, String c, int user, int device, boolean flag);

    void setPrimaryClip(
        ClipData clip, String pkg, String a, String b, String c, int user, int device, boolean f);

    void addPrimaryClipChangedListener(IOnPrimaryClipChangedListener l, String pkg, String a,
        String b, String c, int user, int device, boolean f);
  }

  interface TrailingString {
    ClipData getPrimaryClip(String pkg, String tag, int user, int device, String extra);

    void setPrimaryClip(ClipData clip, String pkg, String tag, int user, int device, String e);

    void addPrimaryClipChangedListener(
        IOnPrimaryClipChangedListener l, String pkg, String tag, int user, int device, String e);
  }

  // A form nobody has seen: a parameter the helper cannot fill.
  interface Unknown {
    ClipData getPrimaryClip(String pkg, Object session);
  }

  // One service of the given form: keeps the clip, calls its listeners on a change and
  // remembers the calling package each call was given.
  static final class Service implements InvocationHandler {
    final String form;
    final Object binder;
    ClipData clip;
    final List<String> packages = new ArrayList<String>();
    private final List<IOnPrimaryClipChangedListener> listeners =
        new ArrayList<IOnPrimaryClipChangedListener>();

    Service(Class<?> form) {
      this.form = form.getSimpleName();
      binder = Proxy.newProxyInstance(form.getClassLoader(), new Class<?>[] {form}, this);
    }

    @Override
    public Object invoke(Object proxy, Method method, Object[] args) throws Throwable {
      String name = method.getName();
      boolean get = name.equals("getPrimaryClip");
      packages.add((String) args[get ? 0 : 1]);
      if (get) return clip;
      if (name.equals("setPrimaryClip")) {
        clip = (ClipData) args[0];
        for (IOnPrimaryClipChangedListener listener : listeners)
          listener.dispatchPrimaryClipChanged();
      } else {
        listeners.add((IOnPrimaryClipChangedListener) args[0]);
      }
      return null;
    }
  }

  static List<Service> known() {
    List<Service> services = new ArrayList<Service>();
    for (Class<?> form :
        new Class<?>[] {PackageUser.class, PackageTagUser.class, PackageTagUserDevice.class,
            PackageUserTag.class, WithFlag.class, ThreeTags.class, TrailingString.class})
      services.add(new Service(form));
    return services;
  }
}
