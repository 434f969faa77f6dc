#pragma once

#include <QCheckBox>
#include <QHBoxLayout>
#include <QIcon>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QWidget>

#include "app/files/files_controller.h"
#include "app/files/files_listing.h"

namespace lumivale::app {

// A folder of the tablet: shortcuts, the path as breadcrumbs, the listing with thumbnails,
// its sort and hidden items, and buttons for copying both ways, renaming, new folders and
// deleting, with the copy's progress and Cancel. Files dropped on the listing are copied
// to the tablet; an item dragged out is copied from it. Leftovers of unfinished work are
// offered for clean-up.
class FilesPane : public QWidget {
  Q_OBJECT

 public:
  explicit FilesPane(FilesController& controller, QWidget* parent = nullptr);

 private:
  void showListing();
  void showLeftovers();
  void showProgress();
  // The item's thumbnail once made, else the style's folder or file icon.
  QIcon iconOf(const RemoteEntry& entry) const;
  void showThumbnail(const QString& path);
  void askForThumbnails();
  void askAboutTakenName(const QString& local, const QString& taken);
  // The item chosen in the listing, if any.
  const RemoteEntry* chosen() const;
  void openChosen();
  void pushFile();
  void pushDropped(const QList<QUrl>& files);
  void dragOut();
  void startDrag(const QString& local);
  void saveAs();
  void renameChosen();
  void newFolder();
  void deleteChosen();

  FilesController& controller_;
  QHBoxLayout* crumbs_;
  QCheckBox* hidden_;
  FilesListing* listing_;
  QPushButton* push_;
  QPushButton* saveAs_;
  QPushButton* rename_;
  QPushButton* newFolder_;
  QPushButton* delete_;
  QLabel* leftovers_;
  QPushButton* cleanUp_;
  QProgressBar* progress_;
  QPushButton* cancel_;
  QLabel* said_;
};

}  // namespace lumivale::app
