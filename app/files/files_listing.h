#pragma once

#include <QList>
#include <QTreeWidget>
#include <QUrl>

namespace lumivale::app {

// The listing of a tablet folder as a drag source and a drop target: files dropped on it
// from this computer are handed on as their locations, and dragging an item out asks for
// it (the item must be pulled from the tablet before anything can be dropped elsewhere).
class FilesListing : public QTreeWidget {
  Q_OBJECT

 public:
  explicit FilesListing(QWidget* parent = nullptr);

  // The first and last rows in view; an empty range (-1, -2) when none is.
  std::pair<int, int> shownRows() const;

 signals:
  void filesDropped(const QList<QUrl>& files);
  void dragWanted();
  // Scrolled, resized or shown: other rows may be in view.
  void shownRowsChanged();

 protected:
  void dragEnterEvent(QDragEnterEvent* event) override;
  void dragMoveEvent(QDragMoveEvent* event) override;
  void dropEvent(QDropEvent* event) override;
  void startDrag(Qt::DropActions supportedActions) override;
  void resizeEvent(QResizeEvent* event) override;
  void showEvent(QShowEvent* event) override;
};

}  // namespace lumivale::app
