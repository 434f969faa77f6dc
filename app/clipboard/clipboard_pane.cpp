#include "app/clipboard/clipboard_pane.h"

#include <chrono>

#include <QDateTime>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLocale>
#include <QMessageBox>
#include <QVBoxLayout>

#include "app/shell/named_button.h"
#include "app/shell/shown_text.h"
#include "app/shell/when_shown.h"

namespace lumivale::app {
namespace {

QString shownTime(ClipboardHistory::Time at) {
  const QDateTime when = QDateTime::fromSecsSinceEpoch(
      std::chrono::duration_cast<std::chrono::seconds>(at.time_since_epoch()).count());
  return QLocale().toString(when, QLocale::ShortFormat);
}

}  // namespace

ClipboardPane::ClipboardPane(ClipboardController& controller, QWidget* parent)
    : QWidget(parent),
      controller_(controller),
      sharing_(new QCheckBox(tr("&Share the clipboard with the tablet"), this)),
      status_(new QLabel(this)),
      history_(new QTreeWidget(this)),
      problem_(new QLabel(this)),
      toComputer_(
          namedButton(tr("Copy to &computer"), tr("Copy to this computer's clipboard"), this)),
      toTablet_(namedButton(tr("Copy to &tablet"), tr("Copy to the tablet's clipboard"), this)),
      toBoth_(namedButton(tr("Copy to &both"), tr("Copy to both clipboards"), this)),
      remove_(namedButton(tr("&Remove"), tr("Remove the row"), this)),
      clear_(namedButton(tr("C&lear…"), tr("Clear the history"), this)),
      kept_(new QCheckBox(tr("&Keep after quitting"), this)),
      said_(new QLabel(this)) {
  sharing_->setAccessibleName(tr("Share the clipboard with the tablet"));
  status_->setObjectName("status");
  status_->setWordWrap(true);
  history_->setObjectName("history");
  history_->setAccessibleName(tr("Clipboard history"));
  history_->setHeaderLabels({tr("Copied"), tr("When"), tr("Text"), tr("Size")});
  history_->setRootIsDecorated(false);
  history_->header()->setSectionResizeMode(0, QHeaderView::ResizeToContents);
  history_->header()->setSectionResizeMode(1, QHeaderView::ResizeToContents);
  history_->header()->setSectionResizeMode(2, QHeaderView::Stretch);
  problem_->setObjectName("problem");
  problem_->setWordWrap(true);
  kept_->setAccessibleName(tr("Keep the history after quitting"));
  said_->setObjectName("said");
  said_->setAccessibleName(tr("What happened"));
  said_->setWordWrap(true);

  auto* sharing = new QHBoxLayout;
  sharing->addWidget(sharing_);
  sharing->addWidget(status_, 1);
  auto* actions = new QHBoxLayout;
  for (QPushButton* action : {toComputer_, toTablet_, toBoth_, remove_})
    actions->addWidget(action);
  actions->addStretch();
  actions->addWidget(clear_);
  actions->addWidget(kept_);
  auto* layout = new QVBoxLayout(this);
  layout->addLayout(sharing);
  layout->addWidget(problem_);
  layout->addWidget(history_, 1);
  layout->addLayout(actions);
  layout->addWidget(said_);

  connect(sharing_, &QCheckBox::clicked, &controller_, &ClipboardController::setSharing);
  connect(kept_, &QCheckBox::clicked, &controller_, &ClipboardController::setKept);
  connect(toComputer_, &QPushButton::clicked, this,
          [this] { copyChosen(CopyDestination::computer); });
  connect(toTablet_, &QPushButton::clicked, this, [this] { copyChosen(CopyDestination::tablet); });
  connect(toBoth_, &QPushButton::clicked, this, [this] { copyChosen(CopyDestination::both); });
  connect(remove_, &QPushButton::clicked, this, &ClipboardPane::removeChosen);
  connect(clear_, &QPushButton::clicked, this, &ClipboardPane::clearAll);
  connect(history_, &QTreeWidget::itemActivated, this,
          [this] { copyChosen(CopyDestination::computer); });
  connect(&controller_, &ClipboardController::sharingChanged, sharing_, &QCheckBox::setChecked);
  connect(&controller_, &ClipboardController::statusChanged, this, &ClipboardPane::showStatus);
  connect(&controller_, &ClipboardController::historyChanged, this, &ClipboardPane::showHistory);
  connect(&controller_, &ClipboardController::copied, said_, &QLabel::setText);
  connect(&controller_, &ClipboardController::failed, said_, &QLabel::setText);
  // What the command line changed meanwhile shows when the pane is opened.
  whenShown(this, [this] { controller_.load(); });
  showStatus();
  showHistory();
}

void ClipboardPane::showStatus() {
  sharing_->setChecked(controller_.sharing());
  status_->setText(controller_.statusLine());
  status_->setAccessibleName(tr("Sharing: %1").arg(controller_.statusLine()));
}

void ClipboardPane::showHistory() {
  const std::string wasChosen = chosen();
  history_->clear();
  for (const ClipboardHistory::Item& item : controller_.history()) {
    QStringList preview;
    for (const std::string& line : item.preview())
      preview << qText(line);
    auto* row =
        new QTreeWidgetItem(history_, {qText(std::string(ClipboardHistory::label(item.origin))),
                                       shownTime(item.at), preview.join('\n'), qText(item.size())});
    row->setData(0, Qt::UserRole, qText(item.id));
    if (item.id == wasChosen) history_->setCurrentItem(row);
  }
  kept_->setChecked(controller_.kept());
  problem_->setText(controller_.historyProblem());
  problem_->setVisible(!controller_.historyProblem().isEmpty());
  const bool empty = controller_.history().empty();
  for (QPushButton* action : {toComputer_, toTablet_, toBoth_, remove_, clear_})
    action->setEnabled(!empty);
}

std::string ClipboardPane::chosen() const {
  // By the row's own id: the history behind the rows may already be a newer one.
  const QTreeWidgetItem* row = history_->currentItem();
  return row ? row->data(0, Qt::UserRole).toString().toStdString() : std::string();
}

void ClipboardPane::copyChosen(CopyDestination destination) {
  const std::string id = chosen();
  if (id.empty()) return said_->setText(tr("Choose a row in the list first."));
  controller_.copy(id, destination);
}

void ClipboardPane::removeChosen() {
  const std::string id = chosen();
  if (id.empty()) return said_->setText(tr("Choose a row in the list first."));
  controller_.remove(id);
}

void ClipboardPane::clearAll() {
  auto answer = QMessageBox::question(
      this, tr("Clear"), tr("Remove every row of the clipboard history? This cannot be undone."),
      QMessageBox::Yes | QMessageBox::Cancel, QMessageBox::Cancel);
  if (answer == QMessageBox::Yes) controller_.clear();
}

}  // namespace lumivale::app
