#include "app/shell/welcome_dialog.h"

#include <QHBoxLayout>
#include <QVBoxLayout>

#include "app/shell/shown_text.h"
#include "core/tablet/tools/android_tools.h"

namespace lumivale::app {

WelcomeDialog::WelcomeDialog(WelcomeController& controller, QWidget* parent)
    : QDialog(parent),
      controller_(controller),
      heading_(new QLabel),
      body_(new QLabel),
      problem_(new QLabel),
      agree_(new QCheckBox),
      getTools_(new QPushButton(tr("Get Android’s tools"))),
      progress_(new QProgressBar),
      done_(new QPushButton(tr("Continue"))) {
  setWindowTitle(tr("Welcome to Lumivale"));
  setObjectName("welcome");
  QFont big = heading_->font();
  big.setPointSizeF(big.pointSizeF() * 1.4);
  big.setBold(true);
  heading_->setFont(big);
  heading_->setObjectName("heading");
  heading_->setAccessibleName(tr("Step"));
  body_->setObjectName("body");
  body_->setAccessibleName(tr("What to do"));
  body_->setWordWrap(true);
  problem_->setAccessibleName(tr("Problem"));
  problem_->setWordWrap(true);
  problem_->setStyleSheet("color: #b00020");
  agree_->setText(tr("I agree to Google’s terms for the Android SDK (%1)")
                      .arg(QString(AndroidTools::termsUrl)));
  agree_->setAccessibleName(tr("I agree to Google’s terms"));
  getTools_->setAccessibleName(getTools_->text());
  getTools_->setEnabled(false);
  progress_->setAccessibleName(tr("Download progress"));
  done_->setAccessibleName(tr("Continue to Devices"));
  done_->setDefault(true);
  auto* later = new QPushButton(tr("Later"));
  later->setAccessibleName(tr("Close the welcome until next time"));

  auto* buttons = new QHBoxLayout;
  buttons->addWidget(later);
  buttons->addStretch();
  buttons->addWidget(done_);
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(heading_);
  layout->addWidget(body_);
  layout->addWidget(agree_);
  layout->addWidget(getTools_, 0, Qt::AlignLeft);
  layout->addWidget(progress_);
  layout->addWidget(problem_);
  layout->addStretch();
  layout->addLayout(buttons);
  resize(520, 300);

  connect(agree_, &QCheckBox::toggled, getTools_, &QPushButton::setEnabled);
  connect(getTools_, &QPushButton::clicked, &controller_, &WelcomeController::getTools);
  connect(done_, &QPushButton::clicked, &controller_, &WelcomeController::finish);
  connect(later, &QPushButton::clicked, this, &QDialog::reject);
  connect(&controller_, &WelcomeController::stepChanged, this, &WelcomeDialog::showStep);
  connect(&controller_, &WelcomeController::progressChanged, this, [this] {
    auto fraction = controller_.progress();
    progress_->setRange(0, fraction ? 1000 : 0);  // no size yet: a busy bar
    if (fraction) progress_->setValue(static_cast<int>(*fraction * 1000));
  });
  connect(&controller_, &WelcomeController::failed, problem_, &QLabel::setText);
  connect(&controller_, &WelcomeController::finished, this, &QDialog::accept);
  showStep();
}

void WelcomeDialog::showStep() {
  using Step = WelcomeController::Step;
  const Step step = controller_.step();
  const bool noAdb = step == Step::noAdb;
  agree_->setVisible(noAdb);
  getTools_->setVisible(noAdb);
  progress_->setVisible(step == Step::gettingTools);
  done_->setEnabled(step == Step::ready);
  if (step != Step::noAdb) problem_->clear();
  switch (step) {
    case Step::findingAdb:
      heading_->setText(tr("Looking for Android’s tools"));
      body_->setText(tr("Lumivale talks to the tablet through adb, Android’s debugging bridge."));
      return;
    case Step::noAdb:
      heading_->setText(tr("Android’s tools are needed"));
      body_->setText(qText(controller_.missing()));
      return;
    case Step::gettingTools:
      heading_->setText(tr("Getting Android’s tools"));
      body_->setText(tr("Downloading Google’s platform tools into Lumivale’s own folder."));
      progress_->setRange(0, 0);
      return;
    case Step::connectTablet:
      heading_->setText(tr("Connect your Lumivale"));
      break;
    case Step::waitingForAllow:
      heading_->setText(tr("Allow this computer on your Lumivale"));
      break;
    case Step::ready:
      heading_->setText(tr("Your Lumivale is ready"));
      body_->setText(tr("Continue to see it in Devices."));
      done_->setFocus();
      return;
  }
  body_->setText(qText(controller_.tabletLine()));
}

}  // namespace lumivale::app
