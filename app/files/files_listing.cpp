#include "app/files/files_listing.h"

#include <algorithm>

#include <QDropEvent>
#include <QMimeData>
#include <QScrollBar>

namespace lumivale::app {
namespace {

// Files of this computer, not the listing's own items dragged back onto it.
bool bringsLocalFiles(const QDropEvent* event, const QWidget* listing) {
  if (event->source() == listing || !event->mimeData()->hasUrls()) return false;
  const QList<QUrl> urls = event->mimeData()->urls();
  return std::all_of(urls.begin(), urls.end(), [](const QUrl& url) { return url.isLocalFile(); });
}

}  // namespace

FilesListing::FilesListing(QWidget* parent) : QTreeWidget(parent) {
  setDragEnabled(true);
  setAcceptDrops(true);
  viewport()->setAcceptDrops(true);
  setDragDropMode(QAbstractItemView::DragDrop);
  connect(verticalScrollBar(), &QScrollBar::valueChanged, this, &FilesListing::shownRowsChanged);
}

std::pair<int, int> FilesListing::shownRows() const {
  if (!isVisible() || topLevelItemCount() == 0) return {-1, -2};
  const QRect view = viewport()->rect();
  QTreeWidgetItem* first = itemAt(view.topLeft());
  QTreeWidgetItem* last = itemAt(view.bottomLeft());
  return {first ? indexOfTopLevelItem(first) : 0,
          last ? indexOfTopLevelItem(last) : topLevelItemCount() - 1};
}

void FilesListing::dragEnterEvent(QDragEnterEvent* event) {
  dragMoveEvent(event);
}

void FilesListing::dragMoveEvent(QDragMoveEvent* event) {
  if (!bringsLocalFiles(event, this)) return event->ignore();
  event->setDropAction(Qt::CopyAction);
  event->accept();
}

void FilesListing::dropEvent(QDropEvent* event) {
  if (!bringsLocalFiles(event, this)) return event->ignore();
  event->setDropAction(Qt::CopyAction);
  event->accept();
  emit filesDropped(event->mimeData()->urls());
}

void FilesListing::startDrag(Qt::DropActions) {
  emit dragWanted();
}

void FilesListing::resizeEvent(QResizeEvent* event) {
  QTreeWidget::resizeEvent(event);
  emit shownRowsChanged();
}

void FilesListing::showEvent(QShowEvent* event) {
  QTreeWidget::showEvent(event);
  emit shownRowsChanged();
}

}  // namespace lumivale::app
