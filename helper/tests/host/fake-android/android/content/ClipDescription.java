package android.content;

import android.os.PersistableBundle;

// Host stand-in for the framework class: only what the helper uses, working.
public final class ClipDescription {
  private PersistableBundle extras;
  private long timestamp;

  public PersistableBundle getExtras() { return extras; }

  public void setExtras(PersistableBundle extras) { this.extras = extras; }

  public long getTimestamp() { return timestamp; }

  public void setTimestamp(long timestamp) { this.timestamp = timestamp; }
}
