#pragma once

#include <QCheckBox>
#include <QLabel>
#include <QPushButton>
#include <QTreeWidget>
#include <QWidget>

#include "app/clipboard/clipboard_controller.h"

namespace lumivale::app {

// The shared clipboard's switch with its status line, and the history: where each text was
// copied, when, and its first lines; copy a row again to either side or both, remove it,
// clear the list, and whether it is kept after quitting.
class ClipboardPane : public QWidget {
  Q_OBJECT

 public:
  explicit ClipboardPane(ClipboardController& controller, QWidget* parent = nullptr);

 private:
  void showStatus();
  void showHistory();
  // The id of the row chosen in the list; empty when none is.
  std::string chosen() const;
  void copyChosen(CopyDestination destination);
  void removeChosen();
  void clearAll();

  ClipboardController& controller_;
  QCheckBox* sharing_;
  QLabel* status_;
  QTreeWidget* history_;
  QLabel* problem_;
  QPushButton* toComputer_;
  QPushButton* toTablet_;
  QPushButton* toBoth_;
  QPushButton* remove_;
  QPushButton* clear_;
  QCheckBox* kept_;
  QLabel* said_;
};

}  // namespace lumivale::app
