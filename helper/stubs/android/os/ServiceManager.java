package android.os;

// Compile-time stand-in for a hidden framework class; the tablet provides the real one.
public final class ServiceManager {
  public static IBinder getService(String name) { throw new RuntimeException("Stub!"); }
}
