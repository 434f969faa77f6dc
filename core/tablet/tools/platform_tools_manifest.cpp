#include "core/tablet/tools/platform_tools_manifest.h"

#include <expat.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <map>
#include <vector>

#include "core/shared_library.h"
#include "core/tablet/tools/tools_error.h"

namespace lumivale::PlatformToolsManifest {

namespace {

// expat's functions, loaded on first use like the program's other libraries.
struct ExpatLibrary {
  explicit ExpatLibrary(const SharedLibrary& library)
      : parserCreate(LUMIVALE_LIBRARY_FUNCTION(library, XML_ParserCreate)),
        parserFree(LUMIVALE_LIBRARY_FUNCTION(library, XML_ParserFree)),
        setUserData(LUMIVALE_LIBRARY_FUNCTION(library, XML_SetUserData)),
        setElementHandler(LUMIVALE_LIBRARY_FUNCTION(library, XML_SetElementHandler)),
        setCharacterDataHandler(LUMIVALE_LIBRARY_FUNCTION(library, XML_SetCharacterDataHandler)),
        parse(LUMIVALE_LIBRARY_FUNCTION(library, XML_Parse)),
        errorCode(LUMIVALE_LIBRARY_FUNCTION(library, XML_GetErrorCode)),
        errorString(LUMIVALE_LIBRARY_FUNCTION(library, XML_ErrorString)),
        lineNumber(LUMIVALE_LIBRARY_FUNCTION(library, XML_GetCurrentLineNumber)) {}

  decltype(&XML_ParserCreate) parserCreate;
  decltype(&XML_ParserFree) parserFree;
  decltype(&XML_SetUserData) setUserData;
  decltype(&XML_SetElementHandler) setElementHandler;
  decltype(&XML_SetCharacterDataHandler) setCharacterDataHandler;
  decltype(&XML_Parse) parse;
  decltype(&XML_GetErrorCode) errorCode;
  decltype(&XML_ErrorString) errorString;
  decltype(&XML_GetCurrentLineNumber) lineNumber;
};

const ExpatLibrary& expatLibrary() {
  static const ExpatLibrary library(SharedLibrary("libexpat.so.1", "expat"));
  return library;
}

struct Archive {
  std::map<std::string, std::string> fields;  // size, url, host-os, host-arch
  std::string checksumType = "sha1";
  std::string checksum;
};

struct Package {
  std::string path;
  std::array<long, 3> revision{0, 0, 0};
  bool preview = false;
  std::optional<std::string> channelRef;
  std::vector<Archive> archives;
};

// What the parser has seen so far: the open elements by their local names.
struct Reading {
  std::vector<std::string> open;
  std::string text;
  std::map<std::string, std::string> channels;  // id -> "stable", "beta", ...
  std::string channelId;
  std::vector<Package> packages;
  std::optional<Package> package;
  std::optional<Archive> archive;

  bool inside(std::string_view name) const {
    return std::find(open.begin(), open.end(), name) != open.end();
  }
};

std::string localName(const XML_Char* name) {
  std::string_view text(name);
  size_t colon = text.rfind(':');
  return std::string(colon == std::string_view::npos ? text : text.substr(colon + 1));
}

std::optional<std::string> attribute(const XML_Char** attributes, std::string_view wanted) {
  for (int i = 0; attributes[i]; i += 2)
    if (localName(attributes[i]) == wanted) return attributes[i + 1];
  return std::nullopt;
}

std::string trimmed(const std::string& text) {
  size_t start = text.find_first_not_of(" \t\r\n");
  if (start == std::string::npos) return "";
  return text.substr(start, text.find_last_not_of(" \t\r\n") - start + 1);
}

void XMLCALL onStart(void* data, const XML_Char* name, const XML_Char** attributes) {
  auto& reading = *static_cast<Reading*>(data);
  std::string local = localName(name);
  reading.text.clear();
  if (local == "remotePackage") {
    reading.package = Package{attribute(attributes, "path").value_or(""), {0, 0, 0}, false, {}, {}};
  } else if (local == "channel") {
    reading.channelId = attribute(attributes, "id").value_or("");
  } else if (reading.package && local == "channelRef") {
    reading.package->channelRef = attribute(attributes, "ref");
  } else if (reading.package && local == "archive") {
    reading.archive = Archive{};
  } else if (reading.archive && local == "checksum") {
    reading.archive->checksumType = attribute(attributes, "type").value_or("sha1");
  }
  reading.open.push_back(local);
}

void XMLCALL onEnd(void* data, const XML_Char*) {
  auto& reading = *static_cast<Reading*>(data);
  std::string local = reading.open.back();
  reading.open.pop_back();
  std::string text = trimmed(reading.text);
  reading.text.clear();
  if (local == "channel" && !reading.package) {
    reading.channels[reading.channelId] = text;
  } else if (reading.archive && local == "archive") {
    reading.package->archives.push_back(*reading.archive);
    reading.archive.reset();
  } else if (reading.archive) {
    // Only the complete archive counts; patches against older versions are not used.
    if (local == "checksum" && reading.inside("complete"))
      reading.archive->checksum = text;
    else if (local != "checksum" && (reading.inside("complete") || !reading.inside("patches")))
      reading.archive->fields[local] = text;
  } else if (reading.package && reading.inside("revision")) {
    long value = 0;
    std::from_chars(text.data(), text.data() + text.size(), value);
    if (local == "major") reading.package->revision[0] = value;
    if (local == "minor") reading.package->revision[1] = value;
    if (local == "micro") reading.package->revision[2] = value;
    if (local == "preview") reading.package->preview = true;
  } else if (reading.package && local == "remotePackage") {
    reading.packages.push_back(std::move(*reading.package));
    reading.package.reset();
  }
}

void XMLCALL onText(void* data, const XML_Char* text, int length) {
  static_cast<Reading*>(data)->text.append(text, static_cast<size_t>(length));
}

Reading read(std::string_view xml) {
  const ExpatLibrary& expat = expatLibrary();
  Reading reading;
  XML_Parser parser = expat.parserCreate(nullptr);
  if (!parser) throw ToolsError("Google’s list of Android’s tools could not be read.");
  expat.setUserData(parser, &reading);
  expat.setElementHandler(parser, onStart, onEnd);
  expat.setCharacterDataHandler(parser, onText);
  const bool parsed =
      expat.parse(parser, xml.data(), static_cast<int>(xml.size()), 1) == XML_STATUS_OK;
  std::string problem;
  if (!parsed)
    problem = std::string(expat.errorString(expat.errorCode(parser))) + " on line " +
              std::to_string(expat.lineNumber(parser));
  expat.parserFree(parser);
  if (!parsed)
    throw ToolsError("Google’s list of Android’s tools could not be read (" + problem +
                     "). Try again later.");
  return reading;
}

bool isStable(const Package& package, const std::map<std::string, std::string>& channels) {
  if (package.preview) return false;
  if (!package.channelRef) return true;
  auto channel = channels.find(*package.channelRef);
  return channel != channels.end() && channel->second == "stable";
}

std::optional<std::uint64_t> sizeOf(const std::string& text) {
  std::uint64_t size = 0;
  auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), size);
  if (error != std::errc() || end != text.data() + text.size() || text.empty()) return std::nullopt;
  return size;
}

bool isHex(const std::string& text, size_t length) {
  return text.size() == length && text.find_first_not_of("0123456789abcdef") == std::string::npos;
}

std::optional<PlatformToolsArchive> usable(const Package& package, const Archive& archive) {
  auto size = sizeOf(archive.fields.count("size") ? archive.fields.at("size") : "");
  std::string checksum = archive.checksum;
  std::transform(checksum.begin(), checksum.end(), checksum.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  const bool goodChecksum = (archive.checksumType == "sha1" && isHex(checksum, 40)) ||
                            (archive.checksumType == "sha256" && isHex(checksum, 64));
  auto url = archive.fields.find("url");
  if (!size || !goodChecksum || url == archive.fields.end() || url->second.empty())
    return std::nullopt;
  std::string version = std::to_string(package.revision[0]) + "." +
                        std::to_string(package.revision[1]) + "." +
                        std::to_string(package.revision[2]);
  return PlatformToolsArchive{version, url->second, *size, archive.checksumType, checksum};
}

}  // namespace

std::string_view hostOs() {
#ifdef __APPLE__
  return "macosx";
#else
  return "linux";
#endif
}

std::string_view hostArch() {
#if defined(__aarch64__) || defined(__arm64__)
  return "aarch64";
#else
  return "x64";
#endif
}

PlatformToolsArchive newestFor(std::string_view manifestXml, std::string_view hostOs,
                               std::string_view hostArch) {
  Reading reading = read(manifestXml);
  std::optional<PlatformToolsArchive> newest;
  std::array<long, 3> newestRevision{-1, -1, -1};
  for (const auto& package : reading.packages) {
    if (package.path != "platform-tools" || !isStable(package, reading.channels) ||
        package.revision <= newestRevision)
      continue;
    for (const auto& archive : package.archives) {
      auto os = archive.fields.find("host-os");
      auto arch = archive.fields.find("host-arch");
      if (os == archive.fields.end() || os->second != hostOs) continue;
      if (arch != archive.fields.end() && arch->second != hostArch) continue;
      if (auto found = usable(package, archive)) {
        newest = found;
        newestRevision = package.revision;
        break;
      }
    }
  }
  if (!newest)
    throw ToolsError("Google’s list of Android’s tools offers no platform tools for " +
                     std::string(hostOs) + ".");
  return *newest;
}

}  // namespace lumivale::PlatformToolsManifest
