#include "tools/melnar-dict/load/TermCollector.h"

#include "tools/melnar-dict/load/DictionaryResolver.h"

#include "tools/melnar-dict/rows/RowLayout.h"

#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/platform/stream/MemoryOutputStream.h"
#include "Engine/core/platform/stream/OutputStream.h"
#include "tests/support/FailureLoop.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

using namespace melnar;

namespace {

constexpr size_t MEMORY_LIMIT = size_t(64) << 20;
constexpr RowLayout LAYOUT{4, RowLayout::WIDE};

using Order = TermResolver::Order;

Rdf::Term makeIri(const std::string_view text) {
    return {.m_kind = Rdf::TermKind::IRI, .m_text = text};
}

/// The first block has some terms in common with the second one, in another order.
const std::vector<Rdf::Statement> FIRST_BLOCK{{{makeIri("a:s"), makeIri("a:p"), makeIri("a:o")}, {}},
                                              {{makeIri("a:t"), makeIri("a:p"), makeIri("a:u")}, makeIri("a:g")}};
const std::vector<Rdf::Statement> SECOND_BLOCK{{{makeIri("a:u"), makeIri("a:q"), makeIri("a:s")}, makeIri("a:g")},
                                               {{makeIri("a:u"), makeIri("a:p"), makeIri("a:new")}, {}}};

constexpr const char* FIRST_ROWS = "<a:s> <a:p> <a:o> .\n<a:t> <a:p> <a:u> <a:g> .\n";
constexpr const char* SECOND_ROWS = "<a:u> <a:q> <a:s> <a:g> .\n<a:u> <a:p> <a:new> .\n";

/// Passes the statements of a block to a collector, which starts with it.
void take(TermCollector& collector, const std::vector<Rdf::Statement>& statements, ParsedPiece& piece) {
    collector.startBlock("");
    for (const Rdf::Statement& statement : statements)
        EXPECT_EQ(nullptr, collector.take(statement, 1, piece));
}

/// Returns the terms of rows.
std::string decode(const Dictionary& dictionary, const std::string& bytes) {
    std::vector<uint64_t> ids;
    takeIDs(bytes, LAYOUT.m_idWidth, ids);
    std::string text;
    for (size_t cell = 0; cell < ids.size(); ++cell) {
        if (ids[cell] != 0) {
            dictionary.appendTurtleLiteral(ids[cell], text);
            text += ' ';
        }
        if (cell % LAYOUT.m_columns == LAYOUT.m_columns - 1)
            text += ".\n";
    }
    return text;
}

TEST(TermCollectorTest, writesTheRowsOfItsBlocks) {
    for (const Order order : {Order::INPUT, Order::ANY}) {
        Dictionary dictionary({.m_memoryLimit = MEMORY_LIMIT, .m_maximumNumberOfResources = 1000});
        MemoryOutputStream rows;
        DictionaryResolver resolver(dictionary, {.m_order = order, .m_rowStream = &rows, .m_rowLayout = LAYOUT});
        TermCollector collector(resolver, 1);
        ParsedPiece piece;
        take(collector, FIRST_BLOCK, piece);
        collector.endBlock(piece);
        piece.clear(1);
        take(collector, SECOND_BLOCK, piece);
        collector.endBlock(piece);
        EXPECT_EQ(std::string(FIRST_ROWS) + SECOND_ROWS, decode(dictionary, rows.getBytes()));
    }
}

/// Cannot be written to.
class BrokenStream final : public OutputStream {
public:
    const std::string& getName() const override { return m_name; }
    void write(const void*, size_t) override { throw std::runtime_error("broken"); }
    void flush() override {}

private:
    const std::string m_name = "broken";
};

TEST(TermCollectorTest, aBlockWhoseRowsCannotBeWrittenLeavesNothingForTheNextOne) {
    for (const Order order : {Order::INPUT, Order::ANY}) {
        Dictionary dictionary({.m_memoryLimit = MEMORY_LIMIT, .m_maximumNumberOfResources = 1000});
        BrokenStream stream;
        DictionaryResolver resolver(dictionary, {.m_order = order, .m_rowStream = &stream, .m_rowLayout = LAYOUT});
        TermCollector collector(resolver, 1);
        ParsedPiece piece;
        take(collector, FIRST_BLOCK, piece);
        EXPECT_THROW(collector.endBlock(piece), std::runtime_error);
        piece.clear(1);
        take(collector, SECOND_BLOCK, piece);
        collector.endBlock(piece);
        std::string terms;
        for (const BatchEntry& entry : piece.m_terms.getEntries()) {
            EXPECT_NE(0u, entry.m_resourceID);
            terms.append(entry.m_lexicalForm).append(" ");
        }
        EXPECT_EQ("a:u a:q a:s a:g a:p a:new ", terms) << "all that the block has";
    }
}

/// Needs no memory for what it is given.
class RoomyStream final : public OutputStream {
public:
    RoomyStream() { m_bytes.reserve(1000); }

    const std::string& getName() const override { return m_name; }
    void write(const void* const data, const size_t numberOfBytes) override {
        m_bytes.append(static_cast<const char*>(data), numberOfBytes);
    }
    void flush() override {}

    const std::string& getBytes() const { return m_bytes; }

private:
    const std::string m_name = "roomy";
    std::string m_bytes;
};

TEST(TermCollectorTest, aBlockThatFailsForLackOfMemoryLeavesNothingForTheNextOne) {
    for (const Order order : {Order::INPUT, Order::ANY}) {
        const FailureCounts counts = failEach(ofAllocations(), [order](FailureRound& round) {
            Dictionary dictionary({.m_memoryLimit = MEMORY_LIMIT, .m_maximumNumberOfResources = 1000});
            RoomyStream rows;
            DictionaryResolver resolver(dictionary, {.m_order = order, .m_rowStream = &rows, .m_rowLayout = LAYOUT});
            TermCollector collector(resolver, 1);
            ParsedPiece piece;
            take(collector, FIRST_BLOCK, piece);
            const bool hasEnded = round.attempt([&] { collector.endBlock(piece); });
            const bool isLost = !hasEnded || !piece.m_errors.empty();
            piece.clear(1);
            take(collector, SECOND_BLOCK, piece);
            collector.endBlock(piece);
            EXPECT_EQ(isLost ? SECOND_ROWS : std::string(FIRST_ROWS) + SECOND_ROWS,
                      decode(dictionary, rows.getBytes()));
        });
        EXPECT_LT(1u, counts.m_throws) << "some failure came out";
    }
}

} // namespace
