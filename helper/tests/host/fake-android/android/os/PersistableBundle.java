package android.os;

import java.util.HashMap;
import java.util.Map;

// Host stand-in for the framework class: only what the helper uses, working.
public final class PersistableBundle {
  private final Map<String, Boolean> flags = new HashMap<String, Boolean>();

  public void putBoolean(String key, boolean value) { flags.put(key, value); }

  public boolean getBoolean(String key, boolean fallback) {
    Boolean value = flags.get(key);
    return value == null ? fallback : value;
  }
}
