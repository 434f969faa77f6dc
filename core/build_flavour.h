#pragma once

namespace lumivale {

// Which kind of build this is. Customer builds ignore development hooks and most
// LUMIVALE_ environment variables; internal and debug builds honour them.
enum class BuildFlavour { customer, internal, debug };

#if defined(LUMIVALE_FLAVOUR_DEBUG)
inline constexpr BuildFlavour buildFlavour = BuildFlavour::debug;
#elif defined(LUMIVALE_FLAVOUR_INTERNAL)
inline constexpr BuildFlavour buildFlavour = BuildFlavour::internal;
#else
inline constexpr BuildFlavour buildFlavour = BuildFlavour::customer;
#endif

inline constexpr bool developmentHooks(BuildFlavour flavour) {
  return flavour != BuildFlavour::customer;
}

inline constexpr const char* programVersion = LUMIVALE_VERSION;

}  // namespace lumivale
