#include "app/reading-folder/reading_folder_pane.h"

#include <QFileDialog>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QVBoxLayout>

#include "app/shell/named_button.h"
#include "app/shell/shown_text.h"
#include "app/shell/when_shown.h"
#include "companion/reading_folder_settings.h"
#include "core/files/remote_path.h"

namespace lumivale::app {
namespace {

// "path: sentence", or the sentence alone for the folder itself.
QString noteText(const ReadingFolderNote& note) {
  if (note.path.empty()) return qText(note.sentence);
  return qText(RemotePath::escapedForDisplay(note.path) + ": " + note.sentence);
}

}  // namespace

ReadingFolderPane::ReadingFolderPane(ReadingFolderController& controller, QWidget* parent)
    : QWidget(parent),
      controller_(controller),
      folder_(new QLabel(this)),
      choose_(namedButton(tr("C&hoose…"), tr("Choose the folder on this computer"), this)),
      tabletFolder_(new QLineEdit(this)),
      removeDeleted_(new QCheckBox(tr("&Remove from the tablet what is deleted here"), this)),
      watched_(new QCheckBox(tr("&Watch this folder"), this)),
      plan_(new QTreeWidget(this)),
      counts_(new QLabel(this)),
      preview_(namedButton(tr("&Preview again"), tr("Make the plan again"), this)),
      sync_(namedButton(tr("&Sync now"), tr("Sync now"), this)),
      progress_(new QProgressBar(this)),
      cancel_(namedButton(tr("Cancel"), tr("Cancel the sync"), this)),
      lastResult_(new QLabel(this)),
      lastNotes_(new QListWidget(this)),
      said_(new QLabel(this)) {
  folder_->setObjectName("folder");
  folder_->setTextInteractionFlags(Qt::TextSelectableByMouse);
  tabletFolder_->setAccessibleName(tr("Folder on the tablet"));
  removeDeleted_->setAccessibleName(tr("Remove from the tablet what is deleted here"));
  watched_->setAccessibleName(tr("Watch this folder and sync its changes by themselves"));
  plan_->setObjectName("plan");
  plan_->setAccessibleName(tr("What the next sync does"));
  plan_->setHeaderLabels({tr("Step"), tr("Item")});
  plan_->setRootIsDecorated(false);
  plan_->header()->setSectionResizeMode(0, QHeaderView::ResizeToContents);
  plan_->header()->setSectionResizeMode(1, QHeaderView::Stretch);
  counts_->setObjectName("counts");
  progress_->setAccessibleName(tr("Sync progress"));
  progress_->setVisible(false);
  cancel_->setVisible(false);
  lastResult_->setObjectName("lastResult");
  lastResult_->setWordWrap(true);
  lastNotes_->setObjectName("lastNotes");
  lastNotes_->setAccessibleName(tr("Notes and failures of the last sync"));
  said_->setObjectName("said");
  said_->setAccessibleName(tr("What happened"));
  said_->setWordWrap(true);

  auto* chosen = new QHBoxLayout;
  chosen->addWidget(folder_, 1);
  chosen->addWidget(choose_);
  auto* form = new QFormLayout;
  form->addRow(tr("Folder on this computer:"), chosen);
  form->addRow(tr("Folder on the &tablet:"), tabletFolder_);
  form->addRow(removeDeleted_);
  form->addRow(watched_);

  auto* next = new QGroupBox(tr("Next sync"), this);
  auto* nextLayout = new QVBoxLayout(next);
  nextLayout->addWidget(plan_, 1);
  nextLayout->addWidget(counts_);
  auto* actions = new QHBoxLayout;
  actions->addWidget(preview_);
  actions->addWidget(sync_);
  actions->addWidget(progress_, 1);
  actions->addWidget(cancel_);
  actions->addStretch();
  nextLayout->addLayout(actions);

  auto* last = new QGroupBox(tr("Last sync"), this);
  auto* lastLayout = new QVBoxLayout(last);
  lastLayout->addWidget(lastResult_);
  lastLayout->addWidget(lastNotes_);

  auto* layout = new QVBoxLayout(this);
  layout->addLayout(form);
  layout->addWidget(next, 2);
  layout->addWidget(last, 1);
  layout->addWidget(said_);

  connect(choose_, &QPushButton::clicked, this, &ReadingFolderPane::chooseFolder);
  connect(tabletFolder_, &QLineEdit::editingFinished, this, [this] {
    if (tabletFolder_->text() != qText(controller_.tabletFolder()))
      controller_.chooseTabletFolder(tabletFolder_->text());
  });
  connect(removeDeleted_, &QCheckBox::clicked, &controller_,
          &ReadingFolderController::setRemoveDeleted);
  connect(watched_, &QCheckBox::clicked, &controller_, &ReadingFolderController::setWatched);
  connect(preview_, &QPushButton::clicked, &controller_, &ReadingFolderController::makePlan);
  connect(sync_, &QPushButton::clicked, &controller_, &ReadingFolderController::syncNow);
  connect(cancel_, &QPushButton::clicked, &controller_, &ReadingFolderController::cancel);
  connect(&controller_, &ReadingFolderController::choiceChanged, this,
          &ReadingFolderPane::showChoice);
  connect(&controller_, &ReadingFolderController::planned, this, &ReadingFolderPane::showPlan);
  connect(&controller_, &ReadingFolderController::syncStarted, this,
          &ReadingFolderPane::showProgress);
  connect(&controller_, &ReadingFolderController::syncProgressed, this,
          &ReadingFolderPane::showProgress);
  connect(&controller_, &ReadingFolderController::syncEnded, this, [this] {
    showProgress();
    showLastRun();
  });
  connect(&controller_, &ReadingFolderController::watchChanged, this, [this] {
    showProgress();
    showLastRun();
  });
  connect(&controller_, &ReadingFolderController::failed, said_, &QLabel::setText);
  // What the command line changed meanwhile shows when the pane is opened.
  whenShown(this, [this] { controller_.load(); });
  showChoice();
  showPlan();
  showProgress();
  showLastRun();
}

void ReadingFolderPane::showChoice() {
  const auto& choice = controller_.choice();
  folder_->setText(choice.readingFolderPath ? qText(choice.readingFolderPath->string())
                                            : tr("None chosen yet"));
  folder_->setAccessibleName(tr("Folder on this computer: %1").arg(folder_->text()));
  tabletFolder_->setText(qText(controller_.tabletFolder()));
  removeDeleted_->setChecked(choice.readingFolderRemoveDeleted);
  watched_->setChecked(choice.readingFolderWatched);
  said_->clear();
}

void ReadingFolderPane::showPlan() {
  plan_->clear();
  const auto& plan = controller_.plan();
  if (!plan) {
    counts_->setText(controller_.choice().readingFolderPath ? tr("Looking at both sides…")
                                                            : tr("Choose a folder to sync."));
    return;
  }
  for (const ReadingFolderPlan::Action& action : plan->actions) {
    const companion::ReadingFolderStepText step = companion::describeStep(action);
    new QTreeWidgetItem(plan_, {qText(step.verb), qText(step.detail)});
  }
  for (const ReadingFolderNote& note : plan->notes)
    new QTreeWidgetItem(plan_, {tr("note"), noteText(note)});
  counts_->setText(tr("%1 to do, %2 unchanged, %3 held back")
                       .arg(plan->actions.size())
                       .arg(plan->unchanged)
                       .arg(plan->held));
}

void ReadingFolderPane::showProgress() {
  const bool busy = controller_.syncing();
  progress_->setVisible(busy);
  cancel_->setVisible(busy);
  sync_->setEnabled(!busy && !controller_.watchSyncing());
  preview_->setEnabled(!busy);
  const ReadingFolderSyncEvent& now = controller_.progress();
  if (now.bytes > 0) {
    progress_->setRange(0, 1000);
    progress_->setValue(static_cast<int>(now.bytesDone * 1000 / now.bytes));
  } else if (now.steps > 0) {
    progress_->setRange(0, now.steps);
    progress_->setValue(now.stepsDone);
  } else {
    progress_->setRange(0, 0);  // nothing counted yet: a busy bar
  }
}

void ReadingFolderPane::showLastRun() {
  lastResult_->setText(controller_.lastResult().isEmpty() ? tr("No sync has run in this window.")
                                                          : controller_.lastResult());
  lastNotes_->clear();
  const auto& summary = controller_.lastSummary();
  lastNotes_->setVisible(summary && (!summary->notes.empty() || !summary->failures.empty()));
  if (!summary) return;
  for (const ReadingFolderNote& failure : summary->failures)
    lastNotes_->addItem(tr("failed: %1").arg(noteText(failure)));
  for (const ReadingFolderNote& note : summary->notes)
    lastNotes_->addItem(tr("note: %1").arg(noteText(note)));
}

void ReadingFolderPane::chooseFolder() {
  const auto& current = controller_.choice().readingFolderPath;
  QString folder = QFileDialog::getExistingDirectory(
      this, tr("Choose the Reading folder"), current ? qText(current->string()) : QString());
  if (!folder.isEmpty()) controller_.chooseFolder(folder);
}

}  // namespace lumivale::app
