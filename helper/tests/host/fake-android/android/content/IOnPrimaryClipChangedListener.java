package android.content;

import android.os.Binder;
import android.os.IBinder;
import android.os.IInterface;
import android.os.RemoteException;

public interface IOnPrimaryClipChangedListener extends IInterface {
  void dispatchPrimaryClipChanged() throws RemoteException;

  abstract class Stub extends Binder implements IOnPrimaryClipChangedListener {
    @Override
    public IBinder asBinder() {
      return this;
    }
  }
}
