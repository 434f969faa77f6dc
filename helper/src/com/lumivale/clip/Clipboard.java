package com.lumivale.clip;

// The seam between the protocol and a clipboard: the tablet's own, or a file on a host run.
interface Clipboard {
  // Says which way the clipboard is reached, for the ready line.
  String mode();

  int sdk();

  // The current clip; null when there is none or it cannot be read (a locked tablet).
  Clip current() throws Exception;

  void set(String text) throws Exception;

  // Calls `changed` after every change of the clip, on any thread.
  void watch(Runnable changed) throws Exception;
}
