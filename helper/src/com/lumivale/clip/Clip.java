package com.lumivale.clip;

// One reading of the clipboard.
final class Clip {
  final String text; // null when the clip holds no plain text
  final boolean sensitive;
  final long at; // when it was copied, in ms of the tablet's clock

  Clip(String text, boolean sensitive, long at) {
    this.text = text;
    this.sensitive = sensitive;
    this.at = at;
  }
}
