package android.content;

import android.os.Binder;
import android.os.IBinder;
import android.os.IInterface;

// Compile-time stand-in for a hidden framework interface. Its methods change between
// builds, so the helper reaches them by reflection only.
public interface IClipboard extends IInterface {
  abstract class Stub extends Binder implements IClipboard {
    public static IClipboard asInterface(IBinder binder) { throw new RuntimeException("Stub!"); }
  }
}
