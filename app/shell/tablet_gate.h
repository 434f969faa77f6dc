#pragma once

#include <QLabel>
#include <QStackedWidget>

#include "app/shell/tablet_tracker.h"

namespace lumivale::app {

// Holds a pane that needs a ready tablet: the tablet state's refusal sentence stands in
// its place until the tablet is ready, and the pane shows by itself once it is.
class TabletGate : public QStackedWidget {
  Q_OBJECT

 public:
  TabletGate(TabletTracker& tracker, QWidget* content, QWidget* parent = nullptr);

  // The sentence shown while the pane is held back; empty while the pane shows.
  QString refusal() const;

 private:
  void follow();

  TabletTracker& tracker_;
  QLabel* refusal_;
  QWidget* content_;
};

}  // namespace lumivale::app
