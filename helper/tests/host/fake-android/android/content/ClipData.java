package android.content;

// Host stand-in for the framework class: only what the helper uses, working. A null
// text stands for an item that is not plain text.
public final class ClipData {
  public static final class Item {
    private final CharSequence text;

    public Item(CharSequence text) { this.text = text; }

    public CharSequence getText() { return text; }
  }

  private final ClipDescription description = new ClipDescription();
  private final Item item;

  public ClipData(CharSequence text) { item = new Item(text); }

  public static ClipData newPlainText(CharSequence label, CharSequence text) {
    return new ClipData(text);
  }

  public ClipDescription getDescription() { return description; }

  public int getItemCount() { return 1; }

  public Item getItemAt(int index) { return item; }
}
