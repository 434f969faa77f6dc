#include "app/account/account_pane.h"

#include <QFormLayout>
#include <QHBoxLayout>
#include <QVBoxLayout>

namespace lumivale::app {

AccountPane::AccountPane(AccountController& controller, QWidget* parent)
    : QWidget(parent),
      controller_(controller),
      who_(new QLabel(this)),
      form_(new QWidget(this)),
      email_(new QLineEdit(this)),
      password_(new QLineEdit(this)),
      createAccount_(new QCheckBox(tr("&Create a new account"), this)),
      name_(new QLineEdit(this)),
      signIn_(new QPushButton(tr("&Sign in"), this)),
      signOut_(new QPushButton(tr("Sign &out"), this)),
      problem_(new QLabel(this)) {
  who_->setAccessibleName(tr("Who is signed in"));
  who_->setWordWrap(true);
  email_->setAccessibleName(tr("Email"));
  email_->setObjectName("email");
  password_->setAccessibleName(tr("Password"));
  password_->setObjectName("password");
  password_->setEchoMode(QLineEdit::Password);
  createAccount_->setAccessibleName(tr("Create a new account"));
  name_->setAccessibleName(tr("Your name"));
  name_->setEnabled(false);
  signIn_->setAccessibleName(tr("Sign in"));
  signIn_->setDefault(true);
  signOut_->setAccessibleName(tr("Sign out"));
  problem_->setObjectName("problem");
  problem_->setAccessibleName(tr("Problem"));
  problem_->setWordWrap(true);

  auto* form = new QFormLayout(form_);
  form->setContentsMargins(0, 0, 0, 0);
  form->addRow(tr("&Email:"), email_);
  form->addRow(tr("&Password:"), password_);
  form->addRow(QString(), createAccount_);
  form->addRow(tr("&Name:"), name_);
  auto* buttons = new QHBoxLayout;
  buttons->addWidget(signIn_);
  buttons->addWidget(signOut_);
  buttons->addStretch();
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(who_);
  layout->addWidget(form_);
  layout->addLayout(buttons);
  layout->addWidget(problem_);
  layout->addStretch();

  connect(createAccount_, &QCheckBox::toggled, this, [this](bool create) {
    name_->setEnabled(create);
    signIn_->setText(create ? tr("&Create account") : tr("&Sign in"));
    signIn_->setAccessibleName(create ? tr("Create account") : tr("Sign in"));
  });
  connect(signIn_, &QPushButton::clicked, this, &AccountPane::send);
  connect(password_, &QLineEdit::returnPressed, this, &AccountPane::send);
  connect(signOut_, &QPushButton::clicked, &controller_, &AccountController::signOut);
  connect(&controller_, &AccountController::changed, this, &AccountPane::show);
  connect(&controller_, &AccountController::failed, problem_, &QLabel::setText);
  show();
}

void AccountPane::send() {
  problem_->clear();
  companion::SignInForm form;
  form.email = email_->text().trimmed().toStdString();
  form.password = password_->text().toStdString();
  form.createAccount = createAccount_->isChecked();
  if (form.createAccount && !name_->text().trimmed().isEmpty())
    form.name = name_->text().trimmed().toStdString();
  controller_.signIn(std::move(form));
}

void AccountPane::show() {
  const auto& email = controller_.email();
  QString who = email ? tr("Signed in as %1.").arg(QString::fromStdString(*email))
                      : QString::fromStdString(controller_.status());
  if (email && !controller_.status().empty())
    who += "\n" + QString::fromStdString(controller_.status());
  who_->setText(who);
  form_->setVisible(!email);
  signIn_->setVisible(!email);
  signOut_->setVisible(email.has_value());
  setEnabled(!controller_.busy());
  if (email) password_->clear();
}

}  // namespace lumivale::app
