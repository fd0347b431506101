#pragma once

namespace melnar {

/// When static initialisation makes the engine's own factories: as early as the compilers let a library, so before the
/// static objects of applications.
inline constexpr int BUILT_IN_FACTORY_PRIORITY = 101;

} // namespace melnar
