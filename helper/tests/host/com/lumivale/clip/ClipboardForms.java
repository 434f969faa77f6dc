package com.lumivale.clip;

import android.content.ClipData;
import android.content.IOnPrimaryClipChangedListener;
import java.util.ArrayList;
import java.util.List;

// Stand-ins for the hidden clipboard service, one per method form seen on real builds. Each
// keeps the clip, calls its listeners on a change and remembers the calling package given.
final class ClipboardForms {
  public abstract static class Service {
    ClipData clip;
    final List<String> packages = new ArrayList<String>();
    private final List<IOnPrimaryClipChangedListener> listeners =
        new ArrayList<IOnPrimaryClipChangedListener>();

    ClipData get(String pkg) {
      packages.add(pkg);
      return clip;
    }

    void put(ClipData clip, String pkg) throws Exception {
      packages.add(pkg);
      this.clip = clip;
      for (IOnPrimaryClipChangedListener listener : listeners)
        listener.dispatchPrimaryClipChanged();
    }

    void listen(IOnPrimaryClipChangedListener listener, String pkg) {
      packages.add(pkg);
      listeners.add(listener);
    }
  }

  // Android 10 to 13 as first released: (pkg, user).
  public static final class PackageUser extends Service {
    public ClipData getPrimaryClip(String pkg, int user) { return get(pkg); }

    public void setPrimaryClip(ClipData clip, String pkg, int user) throws Exception {
      put(clip, pkg);
    }

    public void addPrimaryClipChangedListener(
        IOnPrimaryClipChangedListener l, String pkg, int user) {
      listen(l, pkg);
    }
  }

  // Android 13 from its December 2022 update: (pkg, tag, user).
  public static final class PackageTagUser extends Service {
    public ClipData getPrimaryClip(String pkg, String tag, int user) { return get(pkg); }

    public void setPrimaryClip(ClipData clip, String pkg, String tag, int user) throws Exception {
      put(clip, pkg);
    }

    public void addPrimaryClipChangedListener(
        IOnPrimaryClipChangedListener l, String pkg, String tag, int user) {
      listen(l, pkg);
    }
  }

  // Android 14 and later: (pkg, tag, user, device).
  public static final class PackageTagUserDevice extends Service {
    public ClipData getPrimaryClip(String pkg, String tag, int user, int device) {
      return get(pkg);
    }

    public void setPrimaryClip(ClipData clip, String pkg, String tag, int user, int device)
        throws Exception {
      put(clip, pkg);
    }

    public void addPrimaryClipChangedListener(
        IOnPrimaryClipChangedListener l, String pkg, String tag, int user, int device) {
      listen(l, pkg);
    }
  }

  // Vendor: (pkg, user, tag).
  public static final class PackageUserTag extends Service {
    public ClipData getPrimaryClip(String pkg, int user, String tag) { return get(pkg); }

    public void setPrimaryClip(ClipData clip, String pkg, int user, String tag) throws Exception {
      put(clip, pkg);
    }

    public void addPrimaryClipChangedListener(
        IOnPrimaryClipChangedListener l, String pkg, int user, String tag) {
      listen(l, pkg);
    }
  }

  // Vendor: (pkg, tag, user, device, boolean).
  public static final class WithFlag extends Service {
    public ClipData getPrimaryClip(String pkg, String tag, int user, int device, boolean flag) {
      return get(pkg);
    }

    public void setPrimaryClip(ClipData clip, String pkg, String tag, int user, int device,
        boolean flag) throws Exception {
      put(clip, pkg);
    }

    public void addPrimaryClipChangedListener(
        IOnPrimaryClipChangedListener l, String pkg, String tag, int user, int device, boolean f) {
      listen(l, pkg);
    }
  }

  // Vendor: (pkg, tag, tag, tag, user, device, boolean).
  public static final class ThreeTags extends Service {
    public ClipData getPrimaryClip(
        String pkg, String a, String b, String c, int user, int device, boolean flag) {
      return get(pkg);
    }

    public void setPrimaryClip(ClipData clip, String pkg, String a, String b, String c, int user,
        int device, boolean f) throws Exception {
      put(clip, pkg);
    }

    public void addPrimaryClipChangedListener(IOnPrimaryClipChangedListener l, String pkg, String a,
        String b, String c, int u, int d, boolean f) {
      listen(l, pkg);
    }
  }

  // Vendor: (pkg, tag, user, device, String).
  public static final class TrailingString extends Service {
    public ClipData getPrimaryClip(String pkg, String tag, int user, int device, String extra) {
      return get(pkg);
    }

    public void setPrimaryClip(ClipData clip, String pkg, String tag, int user, int device,
        String extra) throws Exception {
      put(clip, pkg);
    }

    public void addPrimaryClipChangedListener(
        IOnPrimaryClipChangedListener l, String pkg, String tag, int user, int device, String e) {
      listen(l, pkg);
    }
  }

  // A form nobody has seen: a parameter the helper cannot fill.
  public static final class Unknown extends Service {
    public ClipData getPrimaryClip(String pkg, Object session) { return get(pkg); }
  }

  static List<Service> known() {
    List<Service> forms = new ArrayList<Service>();
    forms.add(new PackageUser());
    forms.add(new PackageTagUser());
    forms.add(new PackageTagUserDevice());
    forms.add(new PackageUserTag());
    forms.add(new WithFlag());
    forms.add(new ThreeTags());
    forms.add(new TrailingString());
    return forms;
  }
}
