#pragma once

#include <stdlib.h>

#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>

namespace lumivale::testing {

// Sets an environment variable for one scope and puts the old value back after.
class ScopedEnvironment {
 public:
  ScopedEnvironment(std::string name, const std::optional<std::string>& value)
      : name_(std::move(name)) {
    if (const char* old = ::getenv(name_.c_str())) old_ = old;
    set(value);
  }
  ScopedEnvironment(const ScopedEnvironment&) = delete;
  ScopedEnvironment& operator=(const ScopedEnvironment&) = delete;
  ~ScopedEnvironment() { set(old_); }

 private:
  void set(const std::optional<std::string>& value) {
    if (value)
      ::setenv(name_.c_str(), value->c_str(), 1);
    else
      ::unsetenv(name_.c_str());
  }

  std::string name_;
  std::optional<std::string> old_;
};

// A fresh empty folder, removed with everything in it at the end of the scope.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string pattern =
        (std::filesystem::temp_directory_path() / "lumivale-test-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
    path_ = pattern;
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }

  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

// Points the settings at a settings folder that does not exist yet, inside a
// temporary folder.
class TemporarySettingsFolder {
 public:
  TemporarySettingsFolder()
      : settings_(root_.path() / "settings"),
        environment_("LUMIVALE_CONFIG_DIR", settings_.string()) {}

  const std::filesystem::path& path() const { return settings_; }

 private:
  TemporaryFolder root_;
  std::filesystem::path settings_;
  ScopedEnvironment environment_;
};

}  // namespace lumivale::testing
