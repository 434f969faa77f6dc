#include "cli/account_commands.h"

#include <termios.h>
#include <unistd.h>

#include <cstdio>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>

#include "companion/account_context.h"
#include "core/account/account_session.h"
#include "core/account/auth_error.h"
#include "core/account/jwt_source.h"

namespace lumivale::cli {

namespace {

// What one account command works with, once it has said why the keychain is not used.
struct Account : companion::AccountContext {
  Account() {
    if (storeNotice()) std::cerr << "lumivale: " << *storeNotice() << "\n";
  }
};

// Restores the terminal's echo however the read ends.
class EchoOff {
 public:
  explicit EchoOff(int fd) : fd_(fd) {
    if (tcgetattr(fd_, &saved_) != 0) return;
    termios quiet = saved_;
    quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    active_ = tcsetattr(fd_, TCSANOW, &quiet) == 0;
  }
  ~EchoOff() {
    if (active_) tcsetattr(fd_, TCSANOW, &saved_);
  }
  EchoOff(const EchoOff&) = delete;
  EchoOff& operator=(const EchoOff&) = delete;

 private:
  int fd_;
  termios saved_{};
  bool active_ = false;
};

std::string withoutLineEnd(std::string line) {
  while (!line.empty() && (line.back() == '\n' || line.back() == '\r'))
    line.pop_back();
  return line;
}

std::string readPassword(bool fromStdin) {
  if (fromStdin) {
    std::string line;
    std::getline(std::cin, line);
    return withoutLineEnd(line);
  }
  std::unique_ptr<FILE, int (*)(FILE*)> terminal(fopen("/dev/tty", "r+"), fclose);
  if (!terminal) throw Error("no terminal to ask for the password on; use --password-stdin");
  std::string line;
  {
    // Echo goes off before the prompt shows, so nothing typed after it is echoed.
    EchoOff echoOff(fileno(terminal.get()));
    std::fputs("Password: ", terminal.get());
    std::fflush(terminal.get());
    char buffer[1024];
    while (std::fgets(buffer, sizeof buffer, terminal.get())) {
      line += buffer;
      if (!line.empty() && line.back() == '\n') break;
    }
  }
  std::fputs("\n", terminal.get());
  return withoutLineEnd(line);
}

struct Credentials {
  std::string email;
  std::optional<std::string> name;
  bool passwordFromStdin = false;
};

CLI::App* addCredentialOptions(CLI::App* command, Credentials& credentials) {
  command->add_option("--email", credentials.email, "The account's email address")->required();
  command->add_flag("--password-stdin", credentials.passwordFromStdin,
                    "Read the password from standard input instead of asking for it");
  return command;
}

void signInWith(const Credentials& credentials, bool signUp) {
  companion::SignInForm form{credentials.email, readPassword(credentials.passwordFromStdin),
                             credentials.name, signUp};
  Account account;
  AuthUser user = companion::signIn(account, form);
  std::cout << "Signed in as " << user.email << ".\n";
}

const char* stateName(SessionCheck::Kind kind) {
  switch (kind) {
    case SessionCheck::Kind::signedIn:
      return "signedIn";
    case SessionCheck::Kind::offline:
      return "offline";
    case SessionCheck::Kind::storeFailed:
      return "storeFailed";
    case SessionCheck::Kind::noSession:
      return "signedOut";
    case SessionCheck::Kind::rejected:
      return "expired";
  }
  return "unknown";
}

void showStatus(bool json) {
  Account account;
  PortmarkClient portmark = account.portmark();
  SessionCheck check = AccountSession::check(account.home(), portmark);
  if (json) {
    nlohmann::json out{{"state", stateName(check.kind)}};
    if (check.user) out.update({{"email", check.user->email}, {"userId", check.user->id}});
    if (!check.userMessage().empty()) out["message"] = check.userMessage();
    out["sessionStore"] = account.store().locationDescription();
    std::cout << out.dump(2) << "\n";
  } else {
    std::cout << (check.user ? "Signed in as " + check.user->email + "." : check.userMessage())
              << "\n";
    // A sign-in held in memory ends with this run; say so where the state is shown.
    if (account.storeNotice()) std::cout << account.store().locationDescription() << "\n";
  }
  if (!check.user) throw ExitStatus{1};
}

void signOut() {
  Account account;
  SignOutReport report = companion::signOut(account);
  std::cout << "Signed out.\n";
  for (const std::string& notice : report.notices)
    std::cerr << "lumivale: " << notice << "\n";
}

void printToken() {
  Account account;
  PortmarkClient portmark = account.portmark();
  JwtSource source(portmark, account.store(), companion::jwtRefreshMargin,
                   companion::jwtStoreReadInterval);
  try {
    std::cout << source.jwt().token << "\n";
  } catch (const SessionExpired&) {
    throw AuthError(SessionCheck::rejected().userMessage());
  }
}

}  // namespace

void addAccountCommands(CLI::App& app, GlobalOptions&) {
  auto* account = app.add_subcommand("account", "Sign in to your Lumivale account, or out");
  account->require_subcommand(1);

  auto signUp = std::make_shared<Credentials>();
  auto* signUpCommand = addCredentialOptions(
      account->add_subcommand("signup", "Create an account and sign in to it"), *signUp);
  signUpCommand->add_option("--name", signUp->name, "Your name, as the account shows it");
  signUpCommand->callback([signUp] { signInWith(*signUp, true); });

  auto signIn = std::make_shared<Credentials>();
  addCredentialOptions(account->add_subcommand("signin", "Sign in to your account"), *signIn)
      ->callback([signIn] { signInWith(*signIn, false); });

  auto json = std::make_shared<bool>(false);
  auto* status =
      account->add_subcommand("status", "Show who is signed in, checked with the server");
  status->add_flag("--json", *json, "Print the state as JSON");
  status->callback([json] { showStatus(*json); });

  account->add_subcommand("signout", "Sign out on this computer, then end the session")
      ->callback(signOut);
  account->add_subcommand("token", "Print a short-lived JWT for the library service")
      ->callback(printToken);
}

}  // namespace lumivale::cli
