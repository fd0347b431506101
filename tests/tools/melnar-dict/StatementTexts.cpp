#include "tests/tools/melnar-dict/StatementTexts.h"

#include "tools/melnar-dict/LineShape.h"
#include "tools/melnar-dict/SerdRun.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

namespace {

std::string toText(const SerdNode* const node) {
    if (node == nullptr)
        return {};
    return std::to_string(node->type) + ' ' + std::string(reinterpret_cast<const char*>(node->buf), node->n_bytes);
}

/// Hands one line to serd and keeps the statements.
class LineClient final : public SerdClient {
public:
    explicit LineClient(const std::string_view line) : m_line(line) {}

    size_t provideText(char* const buffer, const size_t size) override {
        const size_t numberOfBytes = m_line.copy(buffer, size);
        m_line.remove_prefix(numberOfBytes);
        return numberOfBytes;
    }

    const char* takeStatement(const SerdStatement& statement) override {
        m_statements.emplace_back(statement);
        return nullptr;
    }

    const char* takeBase(const SerdNode&) override { return "a base"; }
    const char* takePrefix(const SerdNode&, const SerdNode&) override { return "a prefix"; }

    const std::vector<StatementTexts>& getStatements() const { return m_statements; }

private:
    std::string_view m_line;
    std::vector<StatementTexts> m_statements;
};

} // namespace

StatementTexts::StatementTexts(const SerdStatement& statement)
    : m_subject(toText(statement.m_subject)), m_predicate(toText(statement.m_predicate)),
      m_object(toText(statement.m_object)), m_datatype(toText(statement.m_datatype)),
      m_language(toText(statement.m_language)), m_graph(toText(statement.m_graph)) {}

void PrintTo(const StatementTexts& texts, std::ostream* const output) {
    for (const std::string* const text :
         {&texts.m_subject, &texts.m_predicate, &texts.m_object, &texts.m_datatype, &texts.m_language, &texts.m_graph})
        *output << testing::PrintToString(*text) << ' ';
}

std::optional<StatementTexts> readWithSerd(const std::string_view line, const bool graphsAllowed) {
    const LineShape shape = shapeOfLine(line, graphsAllowed);
    if (shape.m_kind != LineShape::Kind::STATEMENT)
        return std::nullopt;
    std::string text(line.data(), shape.m_end);
    if (shape.m_gap != nullptr)
        text.insert(static_cast<size_t>(shape.m_gap - line.data()), 1, ' ');
    if (shape.m_keyword != nullptr)
        text.insert(static_cast<size_t>(shape.m_keyword - line.data()), 1, 'x');
    LineClient client(text);
    const bool isFaulty = runSerd(graphsAllowed ? SERD_NQUADS : SERD_NTRIPLES, client).has_value();
    if (isFaulty || client.getStatements().size() != 1)
        return std::nullopt;
    StatementTexts statement = client.getStatements().front();
    if (shape.m_keyword != nullptr)
        statement.m_subject.erase(statement.m_subject.find('x'), 1);
    return statement;
}
