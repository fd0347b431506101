#pragma once

#include <string>
#include <string_view>
#include <vector>

/// The statements of a text, sorted, as texts that do not name blank nodes: enough to see that two readers differ.
using JudgedStatements = std::vector<std::string>;

inline constexpr std::string_view JUDGED_BLANK_NODE = "_:";

inline std::string describeIri(const std::string_view iri) {
    return "<" + std::string(iri) + ">";
}

/// The direction may be empty. The tag and the datatype may be empty, which means xsd:string.
inline std::string describeLiteral(const std::string_view text, const std::string_view tag,
                                   const std::string_view direction, const std::string_view datatype) {
    std::string description = "\"" + std::string(text) + "\"";
    if (!tag.empty())
        description.append("@").append(tag);
    if (!direction.empty())
        description.append("--").append(direction);
    if (tag.empty())
        description += "^^" + describeIri(datatype.empty() ? "http://www.w3.org/2001/XMLSchema#string" : datatype);
    return description;
}

inline std::string describeTriple(const std::string& subject, const std::string& predicate, const std::string& object) {
    return subject + ' ' + predicate + ' ' + object;
}
