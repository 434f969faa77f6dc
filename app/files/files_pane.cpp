#include "app/files/files_pane.h"

#include <QDateTime>
#include <QDrag>
#include <QFileDialog>
#include <QFileInfo>
#include <QGuiApplication>
#include <QHeaderView>
#include <QInputDialog>
#include <QLocale>
#include <QMessageBox>
#include <QMimeData>
#include <QStyle>
#include <QToolButton>
#include <QVBoxLayout>

#include "app/files/leftover_count.h"
#include "app/shell/named_button.h"
#include "app/shell/shown_text.h"

namespace lumivale::app {
namespace {

constexpr RemoteSort::Key columnKeys[] = {RemoteSort::Key::name, RemoteSort::Key::kind,
                                          RemoteSort::Key::size, RemoteSort::Key::modified};

}  // namespace

FilesPane::FilesPane(FilesController& controller, QWidget* parent)
    : QWidget(parent),
      controller_(controller),
      crumbs_(new QHBoxLayout),
      hidden_(new QCheckBox(tr("Show &hidden items"), this)),
      listing_(new FilesListing(this)),
      push_(namedButton(tr("&Copy to tablet…"), tr("Copy a file to the tablet"), this)),
      saveAs_(namedButton(tr("Save &as…"), tr("Save the item on this computer"), this)),
      rename_(namedButton(tr("&Rename…"), tr("Rename the item"), this)),
      newFolder_(namedButton(tr("New &folder…"), tr("New folder"), this)),
      delete_(namedButton(tr("&Delete…"), tr("Delete the item"), this)),
      leftovers_(new QLabel(this)),
      cleanUp_(namedButton(tr("C&lean up"), tr("Clean up the leftovers"), this)),
      progress_(new QProgressBar(this)),
      cancel_(namedButton(tr("Cancel"), tr("Cancel the copy"), this)),
      said_(new QLabel(this)) {
  hidden_->setAccessibleName(tr("Show hidden items"));
  listing_->setAccessibleName(tr("Items in the folder"));
  listing_->setHeaderLabels({tr("Name"), tr("Kind"), tr("Size"), tr("Modified")});
  listing_->setRootIsDecorated(false);
  listing_->header()->setSectionsClickable(true);
  listing_->header()->setSortIndicatorShown(true);
  listing_->header()->setSectionResizeMode(0, QHeaderView::Stretch);
  listing_->setIconSize(QSize(32, 32));
  leftovers_->setObjectName("leftovers");
  leftovers_->setAccessibleName(tr("Leftovers in this folder"));
  leftovers_->setWordWrap(true);
  progress_->setAccessibleName(tr("Copy progress"));
  progress_->setVisible(false);
  cancel_->setVisible(false);
  said_->setObjectName("said");
  said_->setAccessibleName(tr("What happened"));
  said_->setWordWrap(true);

  auto* shortcuts = new QHBoxLayout;
  for (const RemotePath::Shortcut& shortcut : RemotePath::shortcuts) {
    const std::string folder = RemotePath::join(RemotePath::root, shortcut.name);
    auto* go =
        namedButton(qText(std::string(shortcut.name)), qText(std::string(shortcut.name)), this);
    connect(go, &QPushButton::clicked, this, [this, folder] { controller_.open(folder); });
    shortcuts->addWidget(go);
  }
  shortcuts->addStretch();
  shortcuts->addWidget(hidden_);
  auto* actions = new QHBoxLayout;
  for (QPushButton* action : {push_, saveAs_, rename_, newFolder_, delete_})
    actions->addWidget(action);
  actions->addStretch();
  auto* leftovers = new QHBoxLayout;
  leftovers->addWidget(leftovers_, 1);
  leftovers->addWidget(cleanUp_);
  auto* transfer = new QHBoxLayout;
  transfer->addWidget(progress_, 1);
  transfer->addWidget(cancel_);
  auto* layout = new QVBoxLayout(this);
  layout->addLayout(shortcuts);
  layout->addLayout(crumbs_);
  layout->addWidget(listing_, 1);
  layout->addLayout(actions);
  layout->addLayout(leftovers);
  layout->addLayout(transfer);
  layout->addWidget(said_);

  connect(hidden_, &QCheckBox::toggled, &controller_, &FilesController::showHidden);
  connect(listing_->header(), &QHeaderView::sectionClicked, this, [this](int column) {
    RemoteSort::Key key = columnKeys[column];
    controller_.sortBy(key, key == controller_.sortKey() ? !controller_.ascending() : true);
  });
  connect(listing_, &QTreeWidget::itemActivated, this, &FilesPane::openChosen);
  connect(listing_, &FilesListing::filesDropped, this, &FilesPane::pushDropped);
  connect(listing_, &FilesListing::dragWanted, this, &FilesPane::dragOut);
  connect(listing_, &FilesListing::shownRowsChanged, this, &FilesPane::askForThumbnails);
  connect(push_, &QPushButton::clicked, this, &FilesPane::pushFile);
  connect(saveAs_, &QPushButton::clicked, this, &FilesPane::saveAs);
  connect(rename_, &QPushButton::clicked, this, &FilesPane::renameChosen);
  connect(newFolder_, &QPushButton::clicked, this, &FilesPane::newFolder);
  connect(delete_, &QPushButton::clicked, this, &FilesPane::deleteChosen);
  connect(cleanUp_, &QPushButton::clicked, &controller_, &FilesController::cleanUp);
  connect(cancel_, &QPushButton::clicked, &controller_, &FilesController::cancelTransfer);
  connect(&controller_, &FilesController::listed, this, &FilesPane::showListing);
  connect(&controller_, &FilesController::failed, said_, &QLabel::setText);
  connect(&controller_, &FilesController::nameTaken, this, &FilesPane::askAboutTakenName);
  connect(&controller_, &FilesController::thumbnailMade, this, &FilesPane::showThumbnail);
  connect(&controller_, &FilesController::dragReady, this, &FilesPane::startDrag);
  connect(&controller_, &FilesController::cleanedUp, said_, &QLabel::setText);
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
    auto* row = new QTreeWidgetItem(
        listing_,
        {qText(RemotePath::escapedForDisplay(entry.name)), qText(RemoteSort::kindName(entry)),
         entry.isFolder() ? QString() : locale.formattedDataSize(entry.size), modified});
    row->setIcon(0, iconOf(entry));
  }
  int column = 0;
  while (columnKeys[column] != controller_.sortKey())
    ++column;
  listing_->header()->setSortIndicator(
      column, controller_.ascending() ? Qt::AscendingOrder : Qt::DescendingOrder);
  showLeftovers();
  askForThumbnails();
}

void FilesPane::showLeftovers() {
  const int cleanable = controller_.cleanable();
  leftovers_->setVisible(cleanable > 0);
  cleanUp_->setVisible(cleanable > 0);
  if (cleanable == 0) return;
  leftovers_->setText(
      tr("This folder holds %1 of copies, deletions or renames that did not finish.")
          .arg(leftoverCount(cleanable)));
  QStringList about;
  for (const LeftoverItem& item : controller_.leftovers())
    about << qText(item.about);
  leftovers_->setToolTip(about.join('\n'));
}

void FilesPane::askForThumbnails() {
  auto [first, last] = listing_->shownRows();
  const std::vector<RemoteEntry>& entries = controller_.entries();
  if (first < 0 || last >= static_cast<int>(entries.size())) return;
  controller_.wantThumbnails({entries.begin() + first, entries.begin() + last + 1});
}

QIcon FilesPane::iconOf(const RemoteEntry& entry) const {
  if (auto thumbnail = controller_.thumbnail(entry); thumbnail && !thumbnail->isNull())
    return QIcon(QPixmap::fromImage(*thumbnail));
  return style()->standardIcon(entry.isFolder() ? QStyle::SP_DirIcon : QStyle::SP_FileIcon);
}

void FilesPane::showThumbnail(const QString& path) {
  const std::vector<RemoteEntry>& entries = controller_.entries();
  for (std::size_t row = 0; row < entries.size(); ++row) {
    QTreeWidgetItem* item = listing_->topLevelItem(static_cast<int>(row));
    if (item && qText(entries[row].path) == path) item->setIcon(0, iconOf(entries[row]));
  }
}

void FilesPane::showProgress() {
  const bool busy = controller_.transferring();
  progress_->setVisible(busy);
  cancel_->setVisible(busy);
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
  // Asked without blocking: the window stays live, and the copies after it wait.
  auto* question = new QMessageBox(
      QMessageBox::Question, tr("The name is taken"),
      tr("%1 is already on the tablet in this folder. Copy %2 in its place, keep both, or "
         "leave it?")
          .arg(taken, QFileInfo(local).fileName()),
      QMessageBox::NoButton, this);
  question->setObjectName("nameTaken");
  auto* replace = question->addButton(tr("Replace"), QMessageBox::DestructiveRole);
  auto* keepBoth = question->addButton(tr("Keep both"), QMessageBox::AcceptRole);
  auto* cancel = question->addButton(QMessageBox::Cancel);
  replace->setAccessibleName(tr("Replace the item on the tablet"));
  keepBoth->setAccessibleName(tr("Keep both items"));
  cancel->setAccessibleName(tr("Leave this file"));
  question->setDefaultButton(cancel);
  question->setEscapeButton(cancel);
  connect(question, &QDialog::finished, this, [this, question, replace, keepBoth] {
    QAbstractButton* clicked = question->clickedButton();
    question->deleteLater();
    controller_.answerTaken(clicked == replace    ? std::optional(CollisionPolicy::replace)
                            : clicked == keepBoth ? std::optional(CollisionPolicy::keepBoth)
                                                  : std::nullopt);
  });
  question->open();
}

void FilesPane::pushFile() {
  const QStringList locals = QFileDialog::getOpenFileNames(this, tr("Copy to the tablet"));
  std::vector<std::filesystem::path> files;
  for (const QString& local : locals)
    files.emplace_back(local.toStdString());
  controller_.pushFiles(files);
}

void FilesPane::pushDropped(const QList<QUrl>& dropped) {
  std::vector<std::filesystem::path> files;
  for (const QUrl& url : dropped)
    files.emplace_back(url.toLocalFile().toStdString());
  controller_.pushFiles(files);
}

void FilesPane::dragOut() {
  const RemoteEntry* entry = chosen();
  if (entry && entry->isOperable()) controller_.prepareDrag(*entry);
}

void FilesPane::startDrag(const QString& local) {
  // A copy that took a while to arrive is dropped only while the button is still held.
  if (!(QGuiApplication::mouseButtons() & Qt::LeftButton))
    return said_->setText(tr("%1 is ready: drag it again to drop it on this computer.")
                              .arg(QFileInfo(local).fileName()));
  auto* mime = new QMimeData;
  mime->setUrls({QUrl::fromLocalFile(local)});
  auto* drag = new QDrag(listing_);
  drag->setMimeData(mime);
  drag->exec(Qt::CopyAction);
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
