// The kept indexes of folded names against a real folder: what they answer must always be
// what reading the folder would answer.
#include "standin/folded_names.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "core/settings/testing/temporary_settings_folder.h"
#include "core/tablet/unique_fd.h"

namespace lumivale::standin {
namespace {

class FoldedNamesTest : public ::testing::Test {
 protected:
  // The outcome of a lookup of `name` in the top folder: the stored spelling, or "errno N".
  std::string found(std::string_view name) {
    std::string stored;
    int error = names_.match(".", name, stored);
    return error ? "errno " + std::to_string(error) : stored;
  }
  // Makes a file through the index, as the storage does.
  int make(const std::string& name) {
    return names_.change({{NameChange::added, name}}, [&] {
      UniqueFd fd(::openat(root_.get(), name.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600));
      return fd ? 0 : -errno;
    });
  }
  int remove(const std::string& name) {
    return names_.change({{NameChange::removed, name}}, [&] {
      return ::unlinkat(root_.get(), name.c_str(), 0) == 0 ? 0 : -errno;
    });
  }
  // Makes a file behind the index's back.
  void makeBeside(const std::string& name) {
    UniqueFd(::openat(root_.get(), name.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600));
  }

  testing::TemporaryFolder folder_;
  UniqueFd root_{::open(folder_.path().c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC)};
  FoldedNames names_{root_.get()};
};

TEST_F(FoldedNamesTest, OneNameInTwoCasesStaysFoundUntilBothGo) {
  ASSERT_EQ(make("first"), 0);
  makeBeside("a.pdf");
  makeBeside("A.PDF");
  std::string one = found("A.pdf");
  EXPECT_TRUE(one == "a.pdf" || one == "A.PDF") << one;
  ASSERT_EQ(remove(one), 0);
  EXPECT_EQ(found("a.Pdf"), one == "a.pdf" ? "A.PDF" : "a.pdf");
  ASSERT_EQ(remove(one == "a.pdf" ? "A.PDF" : "a.pdf"), 0);
  EXPECT_EQ(found("a.pdf"), "errno 2");
  EXPECT_EQ(found("FIRST"), "first");
}

// A change that fails halfway, as a rename whose second step fails, leaves the index
// unsure of the folder: it must be read again.
TEST_F(FoldedNamesTest, AFailedChangeIsReadAgain) {
  ASSERT_EQ(make("first"), 0);
  EXPECT_EQ(found("NEW"), "errno 2");
  int result = names_.change({{NameChange::added, "Halfway"}, {NameChange::added, "Never"}}, [&] {
    makeBeside("Halfway");
    return -EACCES;
  });
  EXPECT_EQ(result, -EACCES);
  EXPECT_EQ(found("HALFWAY"), "Halfway");
  EXPECT_EQ(found("never"), "errno 2");

  std::string stored;
  EXPECT_EQ(names_.match("first", "x", stored), ENOTDIR);
  EXPECT_EQ(names_.match("missing", "x", stored), ENOENT);
}

TEST_F(FoldedNamesTest, NamesMadeFromManyThreadsAtOnceAreAllFound) {
  constexpr int perThread = 300;
  std::vector<std::thread> threads;
  for (char prefix : std::string("abcd"))
    threads.emplace_back([&, prefix] {
      for (int i = 0; i < perThread; ++i) {
        std::string name = std::string(1, prefix) + std::to_string(i);
        std::string ignored;
        names_.match(".", name, ignored);
        make(name);
      }
    });
  for (std::thread& thread : threads)
    thread.join();
  for (char prefix : std::string("ABCD"))
    for (int i = 0; i < perThread; ++i) {
      std::string name = std::string(1, prefix) + std::to_string(i);
      ASSERT_EQ(found(name),
                std::string(1, static_cast<char>(prefix - 'A' + 'a')) + std::to_string(i));
    }
  makeBeside("Late");
  EXPECT_EQ(found("LATE"), "Late");
}

}  // namespace
}  // namespace lumivale::standin
