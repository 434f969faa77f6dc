package android.content;

import android.os.Binder;
import android.os.IBinder;
import android.os.IInterface;
import android.os.RemoteException;

// Compile-time stand-in for a hidden framework interface.
public interface IOnPrimaryClipChangedListener extends IInterface {
  void dispatchPrimaryClipChanged() throws RemoteException;

  abstract class Stub extends Binder implements IOnPrimaryClipChangedListener {
    public Stub() { throw new RuntimeException("Stub!"); }

    @Override
    public IBinder asBinder() {
      throw new RuntimeException("Stub!");
    }
  }
}
