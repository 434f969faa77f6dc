#include "core/settings/config_json.h"

#include <cstdint>
#include <limits>
#include <optional>
#include <vector>

namespace lumivale::ConfigJson {
namespace {

using nlohmann::json;
// Where a value sits in the document, built up only while decoding and spelt out
// only when a value has the wrong type.
struct Path {
  const Path* parent = nullptr;
  std::string name;

  std::string dotted() const {
    if (parent == nullptr) return name;
    auto front = parent->dotted();
    return front.empty() ? name : front + "." + name;
  }
};

[[noreturn]] void wrongType(const Path& path) {
  throw ConfigDecodeError(ConfigDecodeError::Kind::wrongType, path.dotted());
}

RememberedTablet decodeTablet(const json& value, const Path& path);

template <class T>
T convert(const json& value, const Path& path) {
  if constexpr (std::is_same_v<T, std::string>) {
    if (!value.is_string()) wrongType(path);
    return value.get<std::string>();
  } else if constexpr (std::is_same_v<T, bool>) {
    if (!value.is_boolean()) wrongType(path);
    return value.get<bool>();
  } else if constexpr (std::is_same_v<T, std::int64_t>) {
    bool tooLarge = value.is_number_unsigned() &&
                    value.get<std::uint64_t>() >
                        static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
    if (!value.is_number_integer() || tooLarge) wrongType(path);
    return value.get<std::int64_t>();
  } else {
    static_assert(std::is_same_v<T, std::vector<RememberedTablet>>);
    if (!value.is_array()) wrongType(path);
    T tablets;
    tablets.reserve(value.size());
    for (std::size_t index = 0; index < value.size(); ++index) {
      tablets.push_back(decodeTablet(value[index], Path{&path, std::to_string(index)}));
    }
    return tablets;
  }
}

// Reads the members of one JSON object, naming the path of any value of the wrong type.
class ObjectReader {
 public:
  ObjectReader(const json& object, const Path& path) : object_(object), path_(path) {
    if (!object_.is_object()) wrongType(path_);
  }

  template <class T>
  T required(const char* key) const {
    auto found = object_.find(key);
    if (found == object_.end()) throw ConfigDecodeError(ConfigDecodeError::Kind::missingKey, key);
    return convert<T>(*found, pathTo(key));
  }

  // Absent and null both mean "not set".
  template <class T>
  std::optional<T> optional(const char* key) const {
    auto found = object_.find(key);
    if (found == object_.end() || found->is_null()) return std::nullopt;
    return convert<T>(*found, pathTo(key));
  }

 private:
  Path pathTo(const char* key) const { return Path{&path_, key}; }

  const json& object_;
  const Path& path_;
};

RememberedTablet decodeTablet(const json& value, const Path& path) {
  ObjectReader reader(value, path);
  return RememberedTablet{
      .serial = reader.required<std::string>("serial"),
      .model = reader.required<std::string>("model"),
      .name = reader.required<std::string>("name"),
      .lastIP = reader.required<std::string>("lastIP"),
      .lastPort = reader.required<std::int64_t>("lastPort"),
      .pairedAt = reader.required<std::string>("pairedAt"),
      .accountUserId = reader.optional<std::string>("accountUserId"),
      .transport = reader.required<std::string>("transport"),
      .mdnsName = reader.optional<std::string>("mdnsName"),
      .checkId = reader.optional<std::string>("checkId"),
      .checkToken = reader.optional<std::string>("checkToken"),
      .checkPending = reader.optional<bool>("checkPending"),
      .turnedOnWirelessDebugging = reader.optional<bool>("turnedOnWirelessDebugging"),
  };
}

template <class T>
void putIfSet(json& object, const char* key, const std::optional<T>& value) {
  if (value) object[key] = *value;
}

// Assignments rather than an initializer list: the list deep-copies every value,
// and this runs for every remembered tablet on every write.
json encodeTablet(const RememberedTablet& tablet) {
  json object;
  object["serial"] = tablet.serial;
  object["model"] = tablet.model;
  object["name"] = tablet.name;
  object["lastIP"] = tablet.lastIP;
  object["lastPort"] = tablet.lastPort;
  object["pairedAt"] = tablet.pairedAt;
  object["transport"] = tablet.transport;
  putIfSet(object, "accountUserId", tablet.accountUserId);
  putIfSet(object, "mdnsName", tablet.mdnsName);
  putIfSet(object, "checkId", tablet.checkId);
  putIfSet(object, "checkToken", tablet.checkToken);
  putIfSet(object, "checkPending", tablet.checkPending);
  putIfSet(object, "turnedOnWirelessDebugging", tablet.turnedOnWirelessDebugging);
  return object;
}

}  // namespace

json encode(const LumivaleConfig& config) {
  json tablets = json::array();
  for (const auto& tablet : config.wifiTablets)
    tablets.push_back(encodeTablet(tablet));
  json object = {{"portmarkBaseUrl", config.portmarkBaseUrl},
                 {"workerOrigin", config.workerOrigin},
                 {"powerSyncEndpoint", config.powerSyncEndpoint},
                 {"clientSessionId", config.clientSessionId},
                 {"adbEnabled", config.adbEnabled},
                 {"wifiAfterPlugIn", config.wifiAfterPlugIn},
                 {"wifiAllowUnencrypted", config.wifiAllowUnencrypted},
                 {"wifiTablets", std::move(tablets)}};
  putIfSet(object, "email", config.email);
  putIfSet(object, "userId", config.userId);
  putIfSet(object, "deviceSerial", config.deviceSerial);
  return object;
}

std::string encodeText(const LumivaleConfig& config) {
  // nlohmann's object keeps its keys sorted; bad UTF-8 from a caller becomes U+FFFD
  // rather than a file that cannot be written.
  return encode(config).dump(2, ' ', false, json::error_handler_t::replace) + "\n";
}

LumivaleConfig decode(std::string_view text) {
  json document = json::parse(text);
  Path root;
  ObjectReader reader(document, root);
  return LumivaleConfig{
      .portmarkBaseUrl = reader.required<std::string>("portmarkBaseUrl"),
      .workerOrigin = reader.required<std::string>("workerOrigin"),
      .powerSyncEndpoint = reader.required<std::string>("powerSyncEndpoint"),
      .email = reader.optional<std::string>("email"),
      .userId = reader.optional<std::string>("userId"),
      .clientSessionId = reader.required<std::string>("clientSessionId"),
      .deviceSerial = reader.optional<std::string>("deviceSerial"),
      .adbEnabled = reader.optional<bool>("adbEnabled").value_or(false),
      .wifiAfterPlugIn = reader.optional<bool>("wifiAfterPlugIn").value_or(true),
      .wifiAllowUnencrypted = reader.optional<bool>("wifiAllowUnencrypted").value_or(false),
      .wifiTablets = reader.optional<std::vector<RememberedTablet>>("wifiTablets")
                         .value_or(std::vector<RememberedTablet>{}),
  };
}

}  // namespace lumivale::ConfigJson
