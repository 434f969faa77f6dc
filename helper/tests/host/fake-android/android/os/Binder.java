package android.os;

public class Binder implements IBinder {}
