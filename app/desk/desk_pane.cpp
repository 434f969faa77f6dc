#include "app/desk/desk_pane.h"

#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QScrollArea>
#include <QSignalBlocker>
#include <QVBoxLayout>

#include "app/desk/profiles_box.h"
#include "app/shell/shown_text.h"
#include "core/device-settings/device_settings.h"

namespace lumivale::app {
DeskPane::DeskPane(DeskController& controller, ProfilesController& profiles, QWidget* parent)
    : QWidget(parent), controller_(controller) {
  auto* content = new QWidget;
  auto* groups = new QVBoxLayout(content);
  groups->addWidget(new ProfilesBox(profiles));
  std::map<SettingTier::Kind, QVBoxLayout*> groupLayouts;
  for (const DeviceSetting& setting : DeviceSettings::all()) {
    auto& group = groupLayouts[setting.tier.kind()];
    if (!group) {
      auto* box = new QGroupBox(qText(setting.tier.groupTitle()));
      box->setAccessibleName(box->title());
      group = new QVBoxLayout(box);
      groups->addWidget(box);
    }
    group->addWidget(makeRow(setting));
  }
  groups->addStretch();
  auto* scroll = new QScrollArea;
  scroll->setWidget(content);
  scroll->setWidgetResizable(true);
  scroll->setAccessibleName(tr("Tablet settings"));
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->addWidget(scroll);

  connect(&controller_, &DeskController::settingsRead, this, &DeskPane::showAll);
  connect(&controller_, &DeskController::settingChanged, this,
          [this](const QString& id) { showSetting(id.toStdString()); });
  showAll();
}

QWidget* DeskPane::makeRow(const DeviceSetting& setting) {
  auto* widget = new QWidget;
  widget->setObjectName(qText(setting.id));
  auto* layout = new QGridLayout(widget);
  layout->setContentsMargins(0, 2, 0, 2);
  auto* title = new QLabel(qText(setting.title));
  title->setToolTip(qText(setting.detail));
  layout->addWidget(title, 0, 0);
  Row& row = rows_[setting.id];
  const std::string id = setting.id;
  const QString name = qText(setting.title);

  if (auto reason = setting.tier.reason()) {
    auto* why = new QLabel(qText(*reason));
    why->setWordWrap(true);
    why->setAccessibleName(tr("%1: why it is not available").arg(name));
    layout->addWidget(why, 1, 0, 1, 3);
    return widget;
  }
  row.shown = new QLabel;
  row.shown->setObjectName("shown");
  row.shown->setAccessibleName(tr("%1: value on the tablet").arg(name));
  layout->addWidget(row.shown, 0, 2);
  row.error = new QLabel;
  row.error->setObjectName("error");
  row.error->setAccessibleName(tr("%1: problem").arg(name));
  row.error->setWordWrap(true);
  row.error->setStyleSheet("color: #b00020");
  layout->addWidget(row.error, 1, 0, 1, 3);
  layout->setColumnStretch(1, 1);

  if (!setting.isWritable()) return widget;
  if (auto* slider = std::get_if<DeviceSetting::Slider>(&setting.kind)) {
    row.slider = new QSlider(Qt::Horizontal);
    row.slider->setRange(slider->min, slider->max);
    row.slider->setAccessibleName(name);
    // A drag writes once, when let go; keys write each step they make.
    connect(row.slider, &QSlider::sliderReleased, this, [this, id, slider = row.slider] {
      controller_.set(id, SettingValue::level(slider->value()));
    });
    connect(row.slider, &QSlider::valueChanged, this, [this, id, slider = row.slider](int value) {
      if (!slider->isSliderDown()) controller_.set(id, SettingValue::level(value));
    });
    layout->addWidget(row.slider, 0, 1);
  } else if (std::holds_alternative<DeviceSetting::Toggle>(setting.kind)) {
    row.toggle = new QCheckBox;
    row.toggle->setAccessibleName(name);
    connect(row.toggle, &QCheckBox::clicked, this,
            [this, id](bool checked) { controller_.set(id, SettingValue::on(checked)); });
    layout->addWidget(row.toggle, 0, 1);
  } else if (!std::holds_alternative<std::monostate>(setting.kind)) {
    row.choice = new QComboBox;
    row.choice->setAccessibleName(name);
    connect(row.choice, &QComboBox::activated, this, [this, id, choice = row.choice](int index) {
      controller_.set(id, SettingValue::choice(choice->itemData(index).toString().toStdString()));
    });
    layout->addWidget(row.choice, 0, 1);
  }
  if (setting.canReset()) {
    auto* reset = new QPushButton(tr("Reset"));
    reset->setAccessibleName(tr("Reset %1").arg(name));
    connect(reset, &QPushButton::clicked, this, [this, id] { controller_.reset(id); });
    layout->addWidget(reset, 0, 3);
  }
  return widget;
}

void DeskPane::showSetting(const std::string& id) {
  auto found = rows_.find(id);
  if (found == rows_.end() || !found->second.shown) return;
  Row& row = found->second;
  const DeskSetting& shown = controller_.setting(id);
  const DeviceSetting& setting = DeviceSettings::settingNamed(id);
  row.shown->setText(shown.read || shown.value ? qText(setting.display(shown.value)) : QString());
  row.error->setText(shown.error ? qText(*shown.error) : QString());
  row.error->setVisible(shown.error.has_value());
  if (row.slider) {
    QSignalBlocker quiet(row.slider);
    if (shown.value && shown.value->asLevel()) row.slider->setValue(*shown.value->asLevel());
  }
  if (row.toggle) {
    QSignalBlocker quiet(row.toggle);
    row.toggle->setChecked(shown.value && shown.value->asOn().value_or(false));
  }
  if (row.choice) {
    QSignalBlocker quiet(row.choice);
    row.choice->clear();
    for (const SettingChoice& choice : shown.choices)
      row.choice->addItem(qText(choice.title), qText(choice.value));
    int index = -1;
    if (shown.value && shown.value->asChoice())
      index = row.choice->findData(qText(*shown.value->asChoice()));
    row.choice->setCurrentIndex(index);
  }
}

void DeskPane::showAll() {
  for (const auto& [id, row] : rows_)
    showSetting(id);
}

}  // namespace lumivale::app
