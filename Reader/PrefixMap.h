#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>

namespace Rdf {

/// The IRIs that prefixes stand for.
class PrefixMap {
public:
    void declare(const std::string_view prefix, const std::string_view iri) {
        m_iris.insert_or_assign(std::string(prefix), std::string(iri));
    }

    /// Returns null for a prefix that is not declared. The IRI lives until the prefix is declared again.
    const std::string* find(const std::string_view prefix) const {
        const auto found = m_iris.find(prefix);
        return found == m_iris.end() ? nullptr : &found->second;
    }

private:
    /// Prefixes are short: the first eight bytes and the length tell most of them apart.
    struct Hash {
        using is_transparent = void;

        size_t operator()(const std::string_view prefix) const noexcept {
            if (prefix.size() > sizeof(uint64_t))
                return std::hash<std::string_view>()(prefix);
            uint64_t bytes = 0;
            std::memcpy(&bytes, prefix.data(), prefix.size());
            return (bytes ^ prefix.size()) * 0x9E3779B97F4A7C15u >> 20;
        }
    };

    std::unordered_map<std::string, std::string, Hash, std::equal_to<>> m_iris;
};

} // namespace Rdf
