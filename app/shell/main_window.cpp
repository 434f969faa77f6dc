#include "app/shell/main_window.h"

#include <exception>

#include <QCloseEvent>
#include <QHBoxLayout>
#include <QKeySequence>
#include <QShortcut>

#include "core/settings/log.h"

namespace lumivale::app {

MainWindow::MainWindow(companion::AppSettingsStore store, QWidget* parent)
    : QMainWindow(parent),
      store_(std::move(store)),
      sidebar_(new QListWidget),
      panes_(new QStackedWidget) {
  setWindowTitle(tr("Lumivale"));
  sidebar_->setObjectName("sidebar");
  sidebar_->setAccessibleName(tr("Panes"));
  sidebar_->setFixedWidth(170);
  auto* centre = new QWidget;
  auto* layout = new QHBoxLayout(centre);
  layout->addWidget(sidebar_);
  layout->addWidget(panes_, 1);
  setCentralWidget(centre);
  connect(sidebar_, &QListWidget::currentRowChanged, panes_, &QStackedWidget::setCurrentIndex);
}

void MainWindow::addPane(const QString& name, QWidget* pane) {
  pane->setObjectName(name);
  pane->setAccessibleName(name);
  auto* item = new QListWidgetItem(name, sidebar_);
  item->setData(Qt::UserRole, name);  // the text may carry a note below the name
  panes_->addWidget(pane);
  // Ctrl+1 for the first pane, and so on, from anywhere in the window.
  const int number = sidebar_->count();
  if (number > 9) return;
  auto* shortcut = new QShortcut(QKeySequence(Qt::CTRL | Qt::Key(Qt::Key_0 + number)), this);
  connect(shortcut, &QShortcut::activated, this, [this, name] { showPane(name); });
  sidebar_->item(number - 1)->setToolTip(shortcut->key().toString(QKeySequence::NativeText));
}

void MainWindow::restore() {
  companion::AppSettings settings = store_.load();
  resize(settings.windowWidth.value_or(960), settings.windowHeight.value_or(640));
  sidebar_->setCurrentRow(0);
  if (settings.windowPane) showPane(QString::fromStdString(*settings.windowPane));
  sidebar_->setFocus();
}

void MainWindow::showPane(const QString& name) {
  const int row = paneNames().indexOf(name);
  if (row >= 0) sidebar_->setCurrentRow(row);
}

QString MainWindow::currentPane() const {
  auto* item = sidebar_->currentItem();
  return item ? item->data(Qt::UserRole).toString() : QString();
}

QStringList MainWindow::paneNames() const {
  QStringList names;
  for (int row = 0; row < sidebar_->count(); ++row)
    names << sidebar_->item(row)->data(Qt::UserRole).toString();
  return names;
}

void MainWindow::setPaneNote(const QString& name, const QString& note) {
  const int row = paneNames().indexOf(name);
  if (row < 0) return;
  sidebar_->item(row)->setText(note.isEmpty() ? name : name + "\n" + note);
}

QWidget* MainWindow::pane(const QString& name) const {
  return panes_->findChild<QWidget*>(name, Qt::FindDirectChildrenOnly);
}

void MainWindow::closeEvent(QCloseEvent* event) {
  try {
    store_.update([this](companion::AppSettings& settings) {
      settings.windowPane = currentPane().toStdString();
      settings.windowWidth = width();
      settings.windowHeight = height();
    });
  } catch (const std::exception& error) {
    // Losing the window's place is not worth keeping the user from quitting.
    logWarning("the window's place was not kept: {}", error.what());
  }
  QMainWindow::closeEvent(event);
}

}  // namespace lumivale::app
