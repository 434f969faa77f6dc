// The settings file and the Reading folder's records, which other programs and people may
// have written.
#include <nlohmann/json.hpp>

#include "core/files/reading-folder/reading_folder_manifest.h"
#include "core/settings/config_json.h"
#include "fuzz/fuzz_input.h"

using namespace lumivale;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  auto input = FuzzInput::text(data, size);
  LumivaleConfig::endpointURL(input);
  try {
    auto config = ConfigJson::decode(input);
    // What was read is written back as the file holds it.
    if (ConfigJson::decode(ConfigJson::encodeText(config)) != config) __builtin_trap();
    LumivaleConfig::endpointURL(config.portmarkBaseUrl);
  } catch (const nlohmann::json::exception&) {
  } catch (const ConfigDecodeError&) {
  }
  try {
    auto manifest = nlohmann::json::parse(input).get<ReadingFolderManifest>();
    // Every name, UTF-8 or not, comes back as it was read.
    if (nlohmann::json::parse(nlohmann::json(manifest).dump()).get<ReadingFolderManifest>() !=
        manifest) {
      __builtin_trap();
    }
  } catch (const nlohmann::json::exception&) {
  }
  return 0;
}
