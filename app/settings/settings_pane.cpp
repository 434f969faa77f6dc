#include "app/settings/settings_pane.h"
#include "app/shell/shown_text.h"

#include <algorithm>

#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QVBoxLayout>

namespace lumivale::app {
SettingsPane::SettingsPane(SettingsController& controller, QWidget* parent)
    : QWidget(parent),
      controller_(controller),
      adbInUse_(new QLabel),
      adbs_(new QTreeWidget),
      problem_(new QLabel(this)) {
  adbInUse_->setAccessibleName(tr("The adb in use"));
  adbInUse_->setWordWrap(true);
  adbInUse_->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
  adbs_->setAccessibleName(tr("Other adb copies"));
  adbs_->setHeaderLabels({tr("Where from"), tr("Path"), tr("Why not used")});
  adbs_->setRootIsDecorated(false);
  adbs_->header()->setSectionResizeMode(QHeaderView::ResizeToContents);
  problem_->setAccessibleName(tr("Problem"));
  problem_->setWordWrap(true);
  auto* refresh = new QPushButton(tr("&Look again"));
  refresh->setAccessibleName(tr("Look for adb again"));

  auto* adbBox = new QGroupBox(tr("Android's debugging bridge (adb)"));
  auto* adbLayout = new QVBoxLayout(adbBox);
  adbLayout->addWidget(adbInUse_);
  adbLayout->addWidget(adbs_);
  auto* buttons = new QHBoxLayout;
  buttons->addWidget(refresh);
  buttons->addStretch();
  adbLayout->addLayout(buttons);
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(adbBox, 1);
  if (SettingsController::showsServers()) {
    auto* serverBox = new QGroupBox(tr("Servers"));
    auto* serverLayout = new QVBoxLayout(serverBox);
    servers_ = new QTreeWidget;
    servers_->setAccessibleName(tr("Server addresses"));
    servers_->setHeaderLabels({tr("Setting"), tr("Address")});
    servers_->setRootIsDecorated(false);
    servers_->header()->setSectionResizeMode(QHeaderView::ResizeToContents);
    serverChecks_ = new QLabel;
    serverChecks_->setAccessibleName(tr("Server checks"));
    serverChecks_->setWordWrap(true);
    serverLayout->addWidget(servers_);
    serverLayout->addWidget(serverChecks_);
    layout->addWidget(serverBox, 1);
  }
  layout->addWidget(problem_);

  connect(refresh, &QPushButton::clicked, &controller_, &SettingsController::look);
  connect(&controller_, &SettingsController::looked, this, &SettingsPane::show);
  connect(&controller_, &SettingsController::failed, problem_, &QLabel::setText);
}

void SettingsPane::show() {
  problem_->clear();
  const ProgramSetup& setup = controller_.setup();
  auto used = std::find_if(setup.adbs.begin(), setup.adbs.end(),
                           [](const AdbCandidateLook& look) { return !look.problem; });
  if (used == setup.adbs.end()) {
    adbInUse_->setText(qText(AdbLocate::missingMessage(setup.adbs)));
  } else {
    QString inUse =
        tr("In use: %1 (%2)")
            .arg(qText(used->candidate.path.string()), qText(sourceName(used->candidate.source)));
    if (used->version) inUse += tr(", version %1").arg(qText(*used->version));
    adbInUse_->setText(inUse);
  }
  adbs_->clear();
  for (auto look = setup.adbs.begin(); look != setup.adbs.end(); ++look) {
    if (look == used) continue;
    new QTreeWidgetItem(
        adbs_, {qText(sourceName(look->candidate.source)), qText(look->candidate.path.string()),
                qText(look->problem.value_or("usable, but comes later"))});
  }
  if (!servers_) return;
  servers_->clear();
  for (const ServerAddress& server : setup.servers)
    new QTreeWidgetItem(servers_, {qText(server.name), qText(server.address)});
  QStringList checks;
  for (const std::string& problem : setup.serverProblems)
    checks << qText(problem);
  serverChecks_->setText(checks.isEmpty() ? tr("Every address passes the checks of this build.")
                                          : checks.join("\n"));
}

}  // namespace lumivale::app
