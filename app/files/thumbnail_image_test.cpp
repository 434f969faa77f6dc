// Thumbnails read from files on this computer: images scaled down, never up, a PDF's first
// page on white paper, and anything else no picture at all.
#include <QFile>
#include <QPainter>
#include <QPdfWriter>
#include <QTemporaryDir>
#include <QTest>

#include "app/files/thumbnail_image.h"

namespace lumivale::app {
namespace {

const QSize box(64, 64);

std::filesystem::path pathIn(const QTemporaryDir& folder, const char* name) {
  return std::filesystem::path(folder.path().toStdString()) / name;
}

// A wide picture, red on its left half and blue on its right.
void writeRedAndBlue(const std::filesystem::path& file, QSize size, const char* format) {
  QImage image(size, QImage::Format_RGB32);
  image.fill(Qt::blue);
  QPainter(&image).fillRect(0, 0, size.width() / 2, size.height(), Qt::red);
  QVERIFY(image.save(QString::fromStdString(file.string()), format));
}

bool near(QColor seen, QColor wanted) {
  return std::abs(seen.red() - wanted.red()) < 40 && std::abs(seen.green() - wanted.green()) < 40 &&
         std::abs(seen.blue() - wanted.blue()) < 40;
}

}  // namespace

class ThumbnailImageTest : public QObject {
  Q_OBJECT

 private slots:
  void imagesAreScaledDownKeepingTheirShapeAndNeverUp() {
    QTemporaryDir folder;
    const auto wide = pathIn(folder, "payload.png");
    writeRedAndBlue(wide, QSize(800, 400), "PNG");
    QImage thumbnail = ThumbnailImage::of(wide, box);
    QCOMPARE(thumbnail.size(), QSize(64, 32));
    QVERIFY(near(thumbnail.pixelColor(8, 16), Qt::red));
    QVERIFY(near(thumbnail.pixelColor(56, 16), Qt::blue));

    const auto photo = pathIn(folder, "payload.jpg");
    writeRedAndBlue(photo, QSize(300, 900), "JPG");
    QCOMPARE(ThumbnailImage::of(photo, box).size(), QSize(21, 64));

    const auto small = pathIn(folder, "small.png");
    writeRedAndBlue(small, QSize(10, 6), "PNG");
    QCOMPARE(ThumbnailImage::of(small, box).size(), QSize(10, 6));
  }

  void aPdfShowsItsFirstPageOnWhitePaper() {
    QTemporaryDir folder;
    const auto pdf = pathIn(folder, "payload.pdf");
    {
      QPdfWriter writer(QString::fromStdString(pdf.string()));
      writer.setPageSize(QPageSize(QPageSize::A4));
      QPainter painter(&writer);
      // The first page black on its top half; the second all red, never shown.
      painter.fillRect(0, 0, writer.width(), writer.height() / 2, Qt::black);
      writer.newPage();
      painter.fillRect(0, 0, writer.width(), writer.height(), Qt::red);
    }
    QImage page = ThumbnailImage::of(pdf, box);
    QVERIFY(!page.isNull());
    // A4 standing up: as tall as the box, about 0.7 of it wide.
    QCOMPARE(page.height(), 64);
    QVERIFY(page.width() > 40 && page.width() < 50);
    QVERIFY(near(page.pixelColor(page.width() / 2, 8), Qt::black));
    QVERIFY(near(page.pixelColor(page.width() / 2, 56), Qt::white));
  }

  void whatIsNeitherAnImageNorAPdfHasNoPicture() {
    QTemporaryDir folder;
    for (const char* name : {"payload.png", "payload.pdf", "payload"}) {
      QFile file(QString::fromStdString(pathIn(folder, name).string()));
      QVERIFY(file.open(QIODevice::WriteOnly));
      file.write("not a picture");
      file.close();
      QVERIFY2(ThumbnailImage::of(pathIn(folder, name), box).isNull(), name);
    }
    QVERIFY(ThumbnailImage::of(pathIn(folder, "absent.png"), box).isNull());
  }
};

}  // namespace lumivale::app

QTEST_MAIN(lumivale::app::ThumbnailImageTest)
#include "thumbnail_image_test.moc"
