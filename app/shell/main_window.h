#pragma once

#include <QListWidget>
#include <QMainWindow>
#include <QStackedWidget>
#include <QString>
#include <QStringList>
#include <QWidget>

#include "companion/app_settings_store.h"

namespace lumivale::app {

// One window: the sidebar of panes and the pane chosen in it. The pane shown and the
// window's size are kept in the app's settings when the window closes.
class MainWindow : public QMainWindow {
  Q_OBJECT

 public:
  explicit MainWindow(companion::AppSettingsStore store, QWidget* parent = nullptr);

  // Adds a pane under `name` in the sidebar, in order.
  void addPane(const QString& name, QWidget* pane);
  // Shows the pane left open last time (or the first), at the size it had.
  void restore();

  void showPane(const QString& name);
  QString currentPane() const;
  // The panes' names, in the sidebar's order.
  QStringList paneNames() const;
  // A short line under a pane's name in the sidebar ("Sharing · waiting"); empty for none.
  void setPaneNote(const QString& name, const QString& note);
  QWidget* pane(const QString& name) const;
  QListWidget* sidebar() const { return sidebar_; }

 protected:
  void closeEvent(QCloseEvent* event) override;

 private:
  companion::AppSettingsStore store_;
  QListWidget* sidebar_;
  QStackedWidget* panes_;
};

}  // namespace lumivale::app
