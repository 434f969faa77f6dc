#include "app/files/thumbnail_image.h"

#include <QImageReader>
#include <QPainter>
#include <QPdfDocument>

namespace lumivale::app::ThumbnailImage {
namespace {

QString qPath(const std::filesystem::path& file) {
  return QString::fromStdString(file.string());
}

// Never larger than the picture itself.
QSize fitted(QSize size, QSize box) {
  if (size.width() <= box.width() && size.height() <= box.height()) return size;
  return size.scaled(box, Qt::KeepAspectRatio).expandedTo(QSize(1, 1));
}

QImage image(const std::filesystem::path& file, QSize box) {
  QImageReader reader(qPath(file));
  reader.setAutoTransform(true);
  const QSize size = reader.size();
  if (!size.isValid()) return {};
  // The reader decodes at the smaller size where the format allows it (JPEG does).
  reader.setScaledSize(fitted(size, box));
  return reader.read();
}

QImage firstPage(const std::filesystem::path& file, QSize box) {
  QPdfDocument document;
  if (document.load(qPath(file)) != QPdfDocument::Error::None || document.pageCount() < 1)
    return {};
  const QSize page = document.pagePointSize(0).toSize();
  if (page.isEmpty()) return {};
  const QSize size = page.scaled(box, Qt::KeepAspectRatio).expandedTo(QSize(1, 1));
  QImage drawn = document.render(0, size);
  if (drawn.isNull()) return {};
  // Pages are drawn on nothing; paper is white.
  QImage paper(drawn.size(), QImage::Format_RGB32);
  paper.fill(Qt::white);
  QPainter(&paper).drawImage(0, 0, drawn);
  return paper;
}

}  // namespace

QImage of(const std::filesystem::path& file, QSize box) {
  if (file.extension() == ".pdf") return firstPage(file, box);
  return image(file, box);
}

}  // namespace lumivale::app::ThumbnailImage
