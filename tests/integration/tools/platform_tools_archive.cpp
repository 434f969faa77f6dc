#include "tests/integration/tools/platform_tools_archive.h"

#include <archive.h>
#include <archive_entry.h>

#include <fstream>
#include <iterator>

#include "core/crypto_library.h"

namespace lumivale::testing {
namespace fs = std::filesystem;

std::string readFile(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

std::string platformToolsZip(const fs::path& folder) {
  fs::path zip = folder / "platform-tools.zip";
  std::string adb = readFile("/usr/bin/adb");
  archive* writer = archive_write_new();
  archive_write_set_format_zip(writer);
  archive_write_open_filename(writer, zip.c_str());
  archive_entry* entry = archive_entry_new();
  archive_entry_set_pathname(entry, "platform-tools/");
  archive_entry_set_filetype(entry, AE_IFDIR);
  archive_entry_set_perm(entry, 0755);
  archive_write_header(writer, entry);
  archive_entry_clear(entry);
  archive_entry_set_pathname(entry, "platform-tools/adb");
  archive_entry_set_filetype(entry, AE_IFREG);
  archive_entry_set_perm(entry, 0755);
  archive_entry_set_size(entry, static_cast<la_int64_t>(adb.size()));
  archive_write_header(writer, entry);
  archive_write_data(writer, adb.data(), adb.size());
  archive_entry_free(entry);
  archive_write_close(writer);
  archive_write_free(writer);
  return readFile(zip);
}

std::string sha1Of(const std::string& bytes) {
  Digest digest(Digest::Kind::sha1);
  digest.update(bytes);
  return digest.finishHex();
}

std::string manifestFor(const std::string& zip, const std::string& sha1) {
  return R"(<?xml version="1.0" encoding="UTF-8" standalone="yes"?>
<sdk:sdk-repository xmlns:sdk="http://schemas.android.com/sdk/android/repo/repository2/01">
  <channel id="channel-0">stable</channel>
  <remotePackage path="platform-tools">
    <revision><major>35</major><minor>0</minor><micro>2</micro></revision>
    <channelRef ref="channel-0"/>
    <archives>
      <archive>
        <complete><size>)" +
         std::to_string(zip.size()) + "</size><checksum>" + sha1 + R"(</checksum>
          <url>platform-tools-linux.zip</url></complete>
        <host-os>linux</host-os>
      </archive>
    </archives>
  </remotePackage>
</sdk:sdk-repository>
)";
}

}  // namespace lumivale::testing
