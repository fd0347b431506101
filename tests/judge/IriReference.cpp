#include "tests/judge/IriReference.h"

#include <algorithm>
#include <optional>
#include <regex>

namespace {

using Component = std::optional<std::string>;

struct Components {
    Component m_scheme;
    Component m_authority;
    std::string m_path;
    Component m_query;
    Component m_fragment;
};

/// Appendix B of the RFC.
Components split(const std::string_view reference) {
    static const std::regex PATTERN("^(([A-Za-z][A-Za-z0-9+.-]*):)?(//([^/?#]*))?([^?#]*)(\\?([^#]*))?(#(.*))?");
    std::match_results<std::string_view::const_iterator> match;
    std::regex_search(reference.begin(), reference.end(), match, PATTERN);
    const auto get = [&](const size_t with, const size_t without) {
        return match[with].matched ? Component(match[without].str()) : std::nullopt;
    };
    return {get(1, 2), get(3, 4), match[5].str(), get(6, 7), get(8, 9)};
}

/// Section 5.2.4.
std::string removeDotSegments(std::string input) {
    std::string output;
    while (!input.empty()) {
        if (input.starts_with("../"))
            input.erase(0, 3);
        else if (input.starts_with("./") || input.starts_with("/./"))
            input.erase(0, 2);
        else if (input == "/.")
            input = "/";
        else if (input.starts_with("/../") || input == "/..") {
            input = "/" + input.substr(input == "/.." ? 3 : 4);
            output.resize(output.rfind('/') == std::string::npos ? 0 : output.rfind('/'));
        } else if (input == "." || input == "..")
            input.clear();
        else {
            const size_t end = std::min(input.find('/', 1), input.size());
            output += input.substr(0, end);
            input.erase(0, end);
        }
    }
    return output;
}

} // namespace

bool hasScheme(const std::string_view iri) {
    return split(iri).m_scheme.has_value();
}

std::string resolveIri(const std::string_view base, const std::string_view reference) {
    Components target = split(reference);
    if (target.m_scheme)
        return std::string(reference);
    const Components parts = split(base);
    target.m_scheme = parts.m_scheme;
    if (target.m_authority)
        target.m_path = removeDotSegments(target.m_path);
    else {
        target.m_authority = parts.m_authority;
        if (target.m_path.empty()) {
            target.m_path = parts.m_path;
            if (!target.m_query)
                target.m_query = parts.m_query;
        } else if (target.m_path.starts_with('/'))
            target.m_path = removeDotSegments(target.m_path);
        else if (parts.m_authority && parts.m_path.empty())
            target.m_path = removeDotSegments("/" + target.m_path);
        else
            target.m_path = removeDotSegments(parts.m_path.substr(0, parts.m_path.rfind('/') + 1) + target.m_path);
    }
    return target.m_scheme.value_or("") + ":" + (target.m_authority ? "//" + *target.m_authority : "") + target.m_path +
           (target.m_query ? "?" + *target.m_query : "") + (target.m_fragment ? "#" + *target.m_fragment : "");
}
