#pragma once

namespace melnar {

/// The initialisation priority of the engine's factories: the earliest that compilers allow a library, so before the
/// static objects of applications.
inline constexpr int BUILT_IN_FACTORY_PRIORITY = 101;

} // namespace melnar
