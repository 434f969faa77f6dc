package com.lumivale.clip;

// A clipboard that cannot be used as found; the message says what was found.
final class ClipboardException extends Exception {
  ClipboardException(String message) { super(message); }
}
