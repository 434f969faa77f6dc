#pragma once

#include <QCheckBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QProgressBar>
#include <QPushButton>
#include <QTreeWidget>
#include <QWidget>

#include "app/reading-folder/reading_folder_controller.h"

namespace lumivale::app {

// The Reading folder: the folder chosen here and on the tablet with the removal switch,
// the watching switch, the plan of the next sync with its notes and counts, Sync now with
// its progress and Cancel, and what the last run did, its notes and failures included.
class ReadingFolderPane : public QWidget {
  Q_OBJECT

 public:
  explicit ReadingFolderPane(ReadingFolderController& controller, QWidget* parent = nullptr);

 private:
  void showChoice();
  void showPlan();
  void showProgress();
  void showLastRun();
  void chooseFolder();

  ReadingFolderController& controller_;
  QLabel* folder_;
  QPushButton* choose_;
  QLineEdit* tabletFolder_;
  QCheckBox* removeDeleted_;
  QCheckBox* watched_;
  QTreeWidget* plan_;
  QLabel* counts_;
  QPushButton* preview_;
  QPushButton* sync_;
  QProgressBar* progress_;
  QPushButton* cancel_;
  QLabel* lastResult_;
  QListWidget* lastNotes_;
  QLabel* said_;
};

}  // namespace lumivale::app
