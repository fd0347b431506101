#pragma once

#include "Engine/core/platform/ComponentInfo.h"

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>

namespace melnar {

/// Counts plain literals by their language tags.
///
/// Threads  One thread at a time.
/// Errors   std::bad_alloc.
class LanguageCounts {
public:
    /// Counts a literal, which is text, '@' and language tag. Malformed ones, as in a forged file, are counted
    /// separately.
    void add(std::string_view plainLiteral);

    /// Returns the tags with their numbers of literals, most frequent first, equally frequent ones in alphabetical
    /// order.
    std::unique_ptr<ComponentInfo> toComponentInfo() const;

private:
    std::map<std::string, size_t, std::less<>> m_literalsByTag;
};

} // namespace melnar
