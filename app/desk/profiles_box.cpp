#include "app/desk/profiles_box.h"

#include <QHBoxLayout>
#include <QVBoxLayout>

#include "app/shell/shown_text.h"
#include "companion/profile_words.h"
#include "core/device-settings/desk_profile.h"
#include "core/device-settings/device_settings.h"

namespace lumivale::app {

ProfilesBox::ProfilesBox(ProfilesController& controller, QWidget* parent)
    : QGroupBox(tr("Leaving the desk"), parent),
      controller_(controller),
      restore_(new QPushButton(tr("Restore"))),
      active_(new QLabel),
      outcome_(new QLabel) {
  setObjectName("profiles");
  setAccessibleName(title());
  auto* buttons = new QHBoxLayout;
  for (const DeskProfile& profile : DeskProfiles::all()) {
    auto* button = new QPushButton(qText(profile.title));
    button->setAccessibleName(button->text());
    QStringList sets;
    for (const auto& [id, value] : profile.values)
      sets << qText(DeviceSettings::settingNamed(id).title + ": " +
                    companion::shownValue(id, value));
    button->setToolTip(sets.join("\n"));
    connect(button, &QPushButton::clicked, &controller_,
            [this, name = qText(profile.name)] { controller_.apply(name); });
    buttons->addWidget(button);
    buttons_ << button;
  }
  restore_->setAccessibleName(tr("Restore the settings from before the profile"));
  connect(restore_, &QPushButton::clicked, &controller_, &ProfilesController::restore);
  buttons->addWidget(restore_);
  buttons->addStretch();
  active_->setObjectName("activeProfile");
  active_->setAccessibleName(tr("Active profile"));
  outcome_->setObjectName("profileOutcome");
  outcome_->setAccessibleName(tr("What the profile changed"));
  outcome_->setWordWrap(true);
  auto* layout = new QVBoxLayout(this);
  layout->addLayout(buttons);
  layout->addWidget(active_);
  layout->addWidget(outcome_);

  connect(&controller_, &ProfilesController::statusChanged, this, &ProfilesBox::showStatus);
  connect(&controller_, &ProfilesController::finished, this, &ProfilesBox::showOutcome);
  connect(&controller_, &ProfilesController::failed, outcome_, &QLabel::setText);
  showStatus();
}

void ProfilesBox::showStatus() {
  const bool busy = controller_.busy();
  for (QPushButton* button : buttons_)
    button->setEnabled(!busy);
  restore_->setEnabled(!busy && controller_.active().has_value());
  active_->setText(qText(companion::activeText(controller_.active())));
}

void ProfilesBox::showOutcome() {
  QStringList lines;
  if (const auto& outcome = controller_.outcome())
    for (const ProfileStep& step : outcome->steps)
      lines << qText(DeviceSettings::settingNamed(step.id).title + ": " +
                     companion::stepText(step));
  outcome_->setText(lines.join("\n"));
}

}  // namespace lumivale::app
