/// What differs between builds.
#ifndef TARSIMO_BOARD_CONFIG_H
#define TARSIMO_BOARD_CONFIG_H

namespace tarsimo {

/// In the fuzz targets' builds, which run hundreds of short sessions a second: small tables, and a
/// stop test every few nodes.
#ifdef TARSIMO_FUZZ
constexpr bool SHORT_SESSIONS = true;
#else
constexpr bool SHORT_SESSIONS = false;
#endif

}  // namespace tarsimo

#endif
