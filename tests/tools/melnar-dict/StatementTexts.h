#pragma once

#include "tools/melnar-dict/SerdClient.h"

#include <optional>
#include <string>
#include <string_view>

/// All that a statement says, copied, so that it can be kept and compared: kind and text of each term, an empty string
/// where there is none.
struct StatementTexts {
    std::string m_subject;
    std::string m_predicate;
    std::string m_object;
    std::string m_datatype;
    std::string m_language;
    std::string m_graph;

    explicit StatementTexts(const SerdStatement& statement);

    bool operator==(const StatementTexts&) const = default;
};

/// For GoogleTest's messages.
void PrintTo(const StatementTexts& texts, std::ostream* output);

/// The statement that a line of N-Triples or N-Quads is for LineShape and serd; nothing when one of them refuses it or
/// the line is blank.
std::optional<StatementTexts> readWithSerd(std::string_view line, bool graphsAllowed);
