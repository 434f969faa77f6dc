#include "app/devices/devices_pane.h"
#include "app/shell/shown_text.h"

#include <QFileDialog>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QPixmap>
#include <QVBoxLayout>

#include "app/shell/tablet_gate.h"

namespace lumivale::app {
namespace {

QString gigabytes(std::int64_t bytes) {
  return QString::number(bytes / 1e9, 'f', 1);
}

// The facts as lines of "label: value", unknown ones said so.
QString describe(const DeviceInfo& info) {
  auto known = [](const std::optional<std::string>& value) {
    return value ? qText(*value) : QObject::tr("unknown");
  };
  QString battery = QObject::tr("unknown");
  if (info.batteryPercent)
    battery = QObject::tr("%1%%2")
                  .arg(*info.batteryPercent)
                  .arg(info.charging.value_or(false) ? QObject::tr(", charging") : QString());
  QString storage = QObject::tr("unknown");
  if (info.dataFreeBytes)
    storage = QObject::tr("%1 GB free of %2 GB")
                  .arg(gigabytes(*info.dataFreeBytes), gigabytes(info.dataTotalBytes.value_or(0)));
  return QObject::tr(
             "Model: %1\nVersion: %2 (%3), Android %4\nBattery: %5\nStorage: %6\n"
             "Wi-Fi: %7\nAddress: %8")
      .arg(qText(info.model), qText(info.versionLabel), qText(info.channel),
           qText(info.androidRelease), battery, storage, known(info.wifiSsid),
           known(info.ipAddress));
}

}  // namespace

DevicesPane::DevicesPane(DevicesController& controller, QWidget* parent)
    : QWidget(parent),
      controller_(controller),
      state_(new QLabel(this)),
      tablets_(new QTreeWidget(this)),
      use_(new QPushButton(tr("&Use this tablet"), this)),
      facts_(new QLabel),
      wake_(new QPushButton(tr("&Wake"))),
      takeScreenshot_(new QPushButton(tr("Take s&creenshot"))),
      saveScreenshot_(new QPushButton(tr("Sa&ve screenshot…"))),
      setUpWifi_(new QPushButton(tr("Set up Wi-&Fi"))),
      wifiProgress_(new QLabel),
      screenshot_(new QLabel),
      problem_(new QLabel(this)) {
  state_->setAccessibleName(tr("Tablet state"));
  tablets_->setAccessibleName(tr("Tablets"));
  tablets_->setHeaderLabels({tr("Tablet"), tr("Connection"), tr("State")});
  tablets_->setRootIsDecorated(true);
  tablets_->header()->setSectionResizeMode(QHeaderView::ResizeToContents);
  use_->setAccessibleName(tr("Use this tablet"));
  facts_->setAccessibleName(tr("Tablet facts"));
  facts_->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
  wake_->setAccessibleName(tr("Wake the tablet"));
  takeScreenshot_->setAccessibleName(tr("Take a screenshot"));
  saveScreenshot_->setAccessibleName(tr("Save the screenshot"));
  saveScreenshot_->setEnabled(false);
  setUpWifi_->setAccessibleName(tr("Set up Wi-Fi"));
  setUpWifi_->setToolTip(tr("Use this tablet over Wi-Fi too, set up while it is on the cable"));
  wifiProgress_->setAccessibleName(tr("Wi-Fi set-up"));
  wifiProgress_->setWordWrap(true);
  screenshot_->setObjectName("screenshot");
  screenshot_->setAccessibleName(tr("Screenshot"));
  screenshot_->setMinimumHeight(160);
  screenshot_->setAlignment(Qt::AlignCenter);
  problem_->setObjectName("problem");
  problem_->setAccessibleName(tr("Problem"));
  problem_->setWordWrap(true);

  auto* ready = new QWidget;
  auto* readyLayout = new QVBoxLayout(ready);
  readyLayout->setContentsMargins(0, 0, 0, 0);
  readyLayout->addWidget(facts_);
  auto* buttons = new QHBoxLayout;
  buttons->addWidget(wake_);
  buttons->addWidget(takeScreenshot_);
  buttons->addWidget(saveScreenshot_);
  buttons->addStretch();
  buttons->addWidget(setUpWifi_);
  readyLayout->addLayout(buttons);
  readyLayout->addWidget(wifiProgress_);
  readyLayout->addWidget(screenshot_, 1);
  auto* box = new QGroupBox(tr("The tablet in use"), this);
  auto* boxLayout = new QVBoxLayout(box);
  boxLayout->addWidget(new TabletGate(controller_.tracker(), ready, box));

  auto* layout = new QVBoxLayout(this);
  layout->addWidget(state_);
  layout->addWidget(tablets_, 1);
  auto* choice = new QHBoxLayout;
  choice->addWidget(use_);
  choice->addStretch();
  layout->addLayout(choice);
  layout->addWidget(box, 2);
  layout->addWidget(problem_);

  connect(use_, &QPushButton::clicked, this, [this] {
    if (auto* item = tablets_->currentItem()) {
      while (item->parent())
        item = item->parent();
      controller_.choose(item->text(0));
    }
  });
  connect(wake_, &QPushButton::clicked, &controller_, &DevicesController::wake);
  connect(takeScreenshot_, &QPushButton::clicked, &controller_, &DevicesController::takeScreenshot);
  connect(saveScreenshot_, &QPushButton::clicked, this, &DevicesPane::saveScreenshot);
  connect(setUpWifi_, &QPushButton::clicked, this, [this] {
    controller_.setUpWifi();
    showWifiSetup();
  });
  connect(&controller_.tracker(), &TabletTracker::changed, this, &DevicesPane::showWifiSetup);
  connect(&controller_, &DevicesController::wifiStep, wifiProgress_, &QLabel::setText);
  for (auto ended : {&DevicesController::wifiSetUp, &DevicesController::wifiSetupFailed})
    connect(&controller_, ended, this, [this](const QString& said) {
      wifiProgress_->setText(said);
      showWifiSetup();
    });
  connect(&controller_.tracker(), &TabletTracker::changed, this, &DevicesPane::showTablets);
  connect(&controller_, &DevicesController::factsChanged, this, &DevicesPane::showFacts);
  connect(&controller_, &DevicesController::screenshotTaken, this, &DevicesPane::showScreenshot);
  connect(&controller_, &DevicesController::failed, problem_, &QLabel::setText);
  connect(&controller_, &DevicesController::screenshotSaved, this,
          [this](const QString& path) { problem_->setText(tr("Saved %1.").arg(path)); });
  showTablets();
  showFacts();
  showWifiSetup();
}

void DevicesPane::showTablets() {
  const TabletView& view = controller_.tracker().view();
  QString state = qText(view.state.name());
  if (view.serial) state += "  " + qText(*view.serial);
  if (view.refusal) state += "\n" + qText(*view.refusal);
  state_->setText(state);
  tablets_->clear();
  for (const AdbTablet& tablet : view.tablets) {
    bool inUse = view.ready() && tablet.hasSerial(*view.serial);
    auto tabletState = TabletState::of(tablet.preferredConnection(), {tablet}, false, std::nullopt);
    auto* row =
        new QTreeWidgetItem(tablets_, {qText(tablet.serial), inUse ? tr("in use") : QString(),
                                       qText(inUse ? view.state.name() : tabletState.name())});
    for (const AdbDevice& connection : tablet.connections)
      new QTreeWidgetItem(row,
                          {qText(connection.serial), connection.isWifi() ? tr("Wi-Fi") : tr("USB"),
                           qText(connection.state)});
    row->setExpanded(true);
  }
  use_->setEnabled(!view.tablets.empty());
}

void DevicesPane::showFacts() {
  const auto& facts = controller_.facts();
  facts_->setText(facts ? describe(*facts) : tr("Reading the tablet's facts…"));
  if (controller_.screenshot().isEmpty()) {
    screenshot_->clear();
    saveScreenshot_->setEnabled(false);
  }
}

void DevicesPane::showScreenshot() {
  QPixmap picture;
  picture.loadFromData(controller_.screenshot(), "PNG");
  screenshot_->setPixmap(
      picture.scaled(screenshot_->size(), Qt::KeepAspectRatio, Qt::SmoothTransformation));
  saveScreenshot_->setEnabled(!picture.isNull());
  problem_->clear();
}

void DevicesPane::showWifiSetup() {
  setUpWifi_->setEnabled(controller_.onCable() && !controller_.settingUpWifi());
}

void DevicesPane::saveScreenshot() {
  QString path = QFileDialog::getSaveFileName(this, tr("Save the screenshot"), "screenshot.png",
                                              tr("PNG pictures (*.png)"));
  if (!path.isEmpty()) controller_.saveScreenshot(path);
}

}  // namespace lumivale::app
