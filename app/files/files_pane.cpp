#include "app/files/files_pane.h"

#include <QDateTime>
#include <QFileDialog>
#include <QHeaderView>
#include <QInputDialog>
#include <QLocale>
#include <QMessageBox>
#include <QToolButton>
#include <QVBoxLayout>

#include "app/shell/shown_text.h"

namespace lumivale::app {
namespace {

constexpr RemoteSort::Key columnKeys[] = {RemoteSort::Key::name, RemoteSort::Key::kind,
                                          RemoteSort::Key::size, RemoteSort::Key::modified};

QPushButton* button(const QString& text, const QString& name, QWidget* parent) {
  auto* made = new QPushButton(text, parent);
  made->setAccessibleName(name);
  return made;
}

}  // namespace

FilesPane::FilesPane(FilesController& controller, QWidget* parent)
    : QWidget(parent),
      controller_(controller),
      crumbs_(new QHBoxLayout),
      hidden_(new QCheckBox(tr("Show &hidden items"), this)),
      listing_(new QTreeWidget(this)),
      push_(button(tr("&Copy to tablet…"), tr("Copy a file to the tablet"), this)),
      saveAs_(button(tr("Save &as…"), tr("Save the item on this computer"), this)),
      rename_(button(tr("&Rename…"), tr("Rename the item"), this)),
      newFolder_(button(tr("New &folder…"), tr("New folder"), this)),
      delete_(button(tr("&Delete…"), tr("Delete the item"), this)),
      progress_(new QProgressBar(this)),
      cancel_(button(tr("Cancel"), tr("Cancel the copy"), this)),
      said_(new QLabel(this)) {
  hidden_->setAccessibleName(tr("Show hidden items"));
  listing_->setAccessibleName(tr("Items in the folder"));
  listing_->setHeaderLabels({tr("Name"), tr("Kind"), tr("Size"), tr("Modified")});
  listing_->setRootIsDecorated(false);
  listing_->header()->setSectionsClickable(true);
  listing_->header()->setSortIndicatorShown(true);
  listing_->header()->setSectionResizeMode(0, QHeaderView::Stretch);
  progress_->setAccessibleName(tr("Copy progress"));
  progress_->setVisible(false);
  cancel_->setVisible(false);
  said_->setObjectName("said");
  said_->setAccessibleName(tr("What happened"));
  said_->setWordWrap(true);

  auto* shortcuts = new QHBoxLayout;
  for (const RemotePath::Shortcut& shortcut : RemotePath::shortcuts) {
    const std::string folder = RemotePath::join(RemotePath::root, shortcut.name);
    auto* go = button(qText(std::string(shortcut.name)), qText(std::string(shortcut.name)), this);
    connect(go, &QPushButton::clicked, this, [this, folder] { controller_.open(folder); });
    shortcuts->addWidget(go);
  }
  shortcuts->addStretch();
  shortcuts->addWidget(hidden_);
  auto* actions = new QHBoxLayout;
  for (QPushButton* action : {push_, saveAs_, rename_, newFolder_, delete_})
    actions->addWidget(action);
  actions->addStretch();
  auto* transfer = new QHBoxLayout;
  transfer->addWidget(progress_, 1);
  transfer->addWidget(cancel_);
  auto* layout = new QVBoxLayout(this);
  layout->addLayout(shortcuts);
  layout->addLayout(crumbs_);
  layout->addWidget(listing_, 1);
  layout->addLayout(actions);
  layout->addLayout(transfer);
  layout->addWidget(said_);

  connect(hidden_, &QCheckBox::toggled, &controller_, &FilesController::showHidden);
  connect(listing_->header(), &QHeaderView::sectionClicked, this, [this](int column) {
    RemoteSort::Key key = columnKeys[column];
    controller_.sortBy(key, key == controller_.sortKey() ? !controller_.ascending() : true);
  });
  connect(listing_, &QTreeWidget::itemActivated, this, &FilesPane::openChosen);
  connect(push_, &QPushButton::clicked, this, &FilesPane::pushFile);
  connect(saveAs_, &QPushButton::clicked, this, &FilesPane::saveAs);
  connect(rename_, &QPushButton::clicked, this, &FilesPane::renameChosen);
  connect(newFolder_, &QPushButton::clicked, this, &FilesPane::newFolder);
  connect(delete_, &QPushButton::clicked, this, &FilesPane::deleteChosen);
  connect(cancel_, &QPushButton::clicked, &controller_, &FilesController::cancelTransfer);
  connect(&controller_, &FilesController::listed, this, &FilesPane::showListing);
  connect(&controller_, &FilesController::failed, said_, &QLabel::setText);
  connect(&controller_, &FilesController::nameTaken, this, &FilesPane::askAboutTakenName);
  connect(&controller_, &FilesController::transferStarted, this, &FilesPane::showProgress);
  connect(&controller_, &FilesController::transferProgressed, this, &FilesPane::showProgress);
  connect(&controller_, &FilesController::transferEnded, this, [this](const QString& outcome) {
    showProgress();
    if (!outcome.isEmpty()) said_->setText(outcome);
  });
  showListing();
}

void FilesPane::showListing() {
  while (QLayoutItem* item = crumbs_->takeAt(0)) {
    delete item->widget();
    delete item;
  }
  for (const RemotePath::Crumb& crumb : controller_.crumbs()) {
    auto* go = new QToolButton(this);
    go->setText(qText(crumb.title) + " ›");
    go->setAccessibleName(tr("Go to %1").arg(qText(crumb.title)));
    connect(go, &QToolButton::clicked, this, [this, path = crumb.path] { controller_.open(path); });
    crumbs_->addWidget(go);
  }
  crumbs_->addStretch();

  listing_->clear();
  QLocale locale;
  for (const RemoteEntry& entry : controller_.entries()) {
    QString modified;
    if (entry.modified)
      modified = locale.toString(
          QDateTime::fromSecsSinceEpoch(
              std::chrono::duration_cast<std::chrono::seconds>(entry.modified->time_since_epoch())
                  .count()),
          QLocale::ShortFormat);
    new QTreeWidgetItem(
        listing_,
        {qText(RemotePath::escapedForDisplay(entry.name)), qText(RemoteSort::kindName(entry)),
         entry.isFolder() ? QString() : locale.formattedDataSize(entry.size), modified});
  }
  int column = 0;
  while (columnKeys[column] != controller_.sortKey())
    ++column;
  listing_->header()->setSortIndicator(
      column, controller_.ascending() ? Qt::AscendingOrder : Qt::DescendingOrder);
}

void FilesPane::showProgress() {
  const bool busy = controller_.transferring();
  progress_->setVisible(busy);
  cancel_->setVisible(busy);
  push_->setEnabled(!busy);
  saveAs_->setEnabled(!busy);
  const TransferProgress& now = controller_.progress();
  if (auto fraction = now.fraction()) {
    progress_->setRange(0, 1000);
    progress_->setValue(static_cast<int>(*fraction * 1000));
  } else {
    progress_->setRange(0, 0);  // size unknown: a busy bar
  }
}

const RemoteEntry* FilesPane::chosen() const {
  int row = listing_->indexOfTopLevelItem(listing_->currentItem());
  if (row < 0 || row >= static_cast<int>(controller_.entries().size())) return nullptr;
  return &controller_.entries()[row];
}

void FilesPane::openChosen() {
  if (const RemoteEntry* entry = chosen(); entry && entry->isFolder())
    controller_.open(entry->path);
}

void FilesPane::askAboutTakenName(const QString& local, const QString& taken) {
  QMessageBox question(QMessageBox::Question, tr("The name is taken"),
                       tr("%1 is already on the tablet in this folder.").arg(taken),
                       QMessageBox::NoButton, this);
  auto* replace = question.addButton(tr("Replace"), QMessageBox::DestructiveRole);
  auto* keepBoth = question.addButton(tr("Keep both"), QMessageBox::AcceptRole);
  question.addButton(QMessageBox::Cancel);
  question.setDefaultButton(QMessageBox::Cancel);
  question.exec();
  if (question.clickedButton() == replace)
    controller_.push(local.toStdString(), CollisionPolicy::replace);
  else if (question.clickedButton() == keepBoth)
    controller_.push(local.toStdString(), CollisionPolicy::keepBoth);
}

void FilesPane::pushFile() {
  QString local = QFileDialog::getOpenFileName(this, tr("Copy to the tablet"));
  if (!local.isEmpty()) controller_.push(local.toStdString(), CollisionPolicy::ask);
}

void FilesPane::saveAs() {
  const RemoteEntry* entry = chosen();
  if (!entry) return said_->setText(tr("Choose an item in the list first."));
  // The dialog asks before a taken name is replaced.
  QString destination = QFileDialog::getSaveFileName(this, tr("Save on this computer"),
                                                     qText(RemotePath::macSafeName(entry->name)));
  if (!destination.isEmpty()) controller_.pull(entry->path, destination.toStdString());
}

void FilesPane::renameChosen() {
  const RemoteEntry* entry = chosen();
  if (!entry) return said_->setText(tr("Choose an item in the list first."));
  bool given = false;
  QString name = QInputDialog::getText(this, tr("Rename"), tr("New name:"), QLineEdit::Normal,
                                       qText(entry->name), &given);
  if (given && !name.isEmpty()) controller_.rename(entry->path, name.toStdString());
}

void FilesPane::newFolder() {
  bool given = false;
  QString name =
      QInputDialog::getText(this, tr("New folder"), tr("Name:"), QLineEdit::Normal, {}, &given);
  if (given && !name.isEmpty()) controller_.makeFolder(name.toStdString());
}

void FilesPane::deleteChosen() {
  const RemoteEntry* entry = chosen();
  if (!entry) return said_->setText(tr("Choose an item in the list first."));
  auto answer = QMessageBox::question(this, tr("Delete"),
                                      tr("Delete %1 from the tablet? This cannot be undone.")
                                          .arg(qText(RemotePath::escapedForDisplay(entry->name))),
                                      QMessageBox::Yes | QMessageBox::Cancel, QMessageBox::Cancel);
  if (answer == QMessageBox::Yes) controller_.remove(entry->path);
}

}  // namespace lumivale::app
