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
    /// Counts a literal that is text, '@' and language tag. What is not, as in a file that lies, is counted by itself.
    void add(std::string_view plainLiteral);

    /// The tags with their numbers of literals, most frequent first, tags as frequent as each other in alphabetical
    /// order.
    std::unique_ptr<ComponentInfo> toComponentInfo() const;

private:
    std::map<std::string, size_t, std::less<>> m_literalsByTag;
};

} // namespace melnar
