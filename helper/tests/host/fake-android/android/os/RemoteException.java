package android.os;

public class RemoteException extends Exception {}
