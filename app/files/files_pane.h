#pragma once

#include <QCheckBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QTreeWidget>
#include <QWidget>

#include "app/files/files_controller.h"

namespace lumivale::app {

// A folder of the tablet: shortcuts, the path as breadcrumbs, the listing with its
// sort and hidden items, and buttons for copying both ways, renaming, new folders and
// deleting, with the copy's progress and Cancel.
class FilesPane : public QWidget {
  Q_OBJECT

 public:
  explicit FilesPane(FilesController& controller, QWidget* parent = nullptr);

 private:
  void showListing();
  void showProgress();
  void askAboutTakenName(const QString& local, const QString& taken);
  // The item chosen in the listing, if any.
  const RemoteEntry* chosen() const;
  void openChosen();
  void pushFile();
  void saveAs();
  void renameChosen();
  void newFolder();
  void deleteChosen();

  FilesController& controller_;
  QHBoxLayout* crumbs_;
  QCheckBox* hidden_;
  QTreeWidget* listing_;
  QPushButton* push_;
  QPushButton* saveAs_;
  QPushButton* rename_;
  QPushButton* newFolder_;
  QPushButton* delete_;
  QProgressBar* progress_;
  QPushButton* cancel_;
  QLabel* said_;
};

}  // namespace lumivale::app
