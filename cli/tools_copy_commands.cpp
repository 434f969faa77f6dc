// `tools install|remove|check`: the program's own copy of Google's platform tools.
#include <iostream>

#include <fmt/format.h>

#include "cli/device_commands.h"
#include "cli/exit_codes.h"
#include "cli/progress_bar.h"
#include "companion/tablet_link.h"
#include "core/tablet/tools/tools_error.h"

namespace lumivale::cli {
namespace {

void install(const GlobalOptions& options) {
  ToolsInstallOptions install = companion::toolsInstallOptions();
  ProgressBar bar("Android’s tools", options.quiet);
  ToolsReceipt receipt = AndroidTools::install(install, &bar, options.command);
  std::cout << fmt::format("Installed Android’s tools {} in {}.\n", receipt.version,
                           AndroidTools::copyFolder(install.supportFolder).string());
}

void check() {
  std::filesystem::path copy =
      AndroidTools::copyFolder(companion::toolsInstallOptions().supportFolder);
  std::error_code error;
  if (!std::filesystem::exists(copy, error))
    throw ToolsError(
        "Lumivale has no copy of Android’s tools. Run lumivale tools install "
        "--agree-to-google-terms to get them.");
  if (auto reason = checkOwnCopy(copy))
    throw ToolsError("The app’s copy of Android’s tools did not pass its check (" + *reason +
                     "), so it is not used. Run lumivale tools install --agree-to-google-terms "
                     "to get them again.");
  auto receipt = ToolsReceipt::readFrom(copy);
  std::cout << fmt::format("Android’s tools {} in {} pass their check (installed {}).\n",
                           receipt->version, copy.string(), receipt->installedAt);
}

}  // namespace

void addToolsCopyCommands(CLI::App& tools, GlobalOptions& options) {
  auto* installCommand =
      tools.add_subcommand("install", "Get Google's platform tools into Lumivale's own folder");
  auto agreed = std::make_shared<bool>(false);
  installCommand->add_flag("--agree-to-google-terms", *agreed,
                           "Agree to Google's terms for Android's tools");
  installCommand->callback([&options, agreed] {
    if (!*agreed)
      throw UsageError(fmt::format(
          "Android’s tools come from Google under Google’s terms ({}). Read them, then run "
          "lumivale tools install --agree-to-google-terms to agree and install.",
          AndroidTools::termsUrl));
    install(options);
  });

  tools.add_subcommand("remove", "Remove Lumivale's own copy of Android's tools")->callback([] {
    if (AndroidTools::remove(companion::toolsInstallOptions().supportFolder))
      std::cout << "Removed Lumivale’s copy of Android’s tools.\n";
    else
      std::cout << "Lumivale has no copy of Android’s tools to remove.\n";
  });

  tools.add_subcommand("check", "Check Lumivale's own copy of Android's tools against its receipt")
      ->callback(check);
}

}  // namespace lumivale::cli
