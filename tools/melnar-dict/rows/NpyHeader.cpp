#include "tools/melnar-dict/rows/NpyHeader.h"

#include "tools/melnar-dict/shell/NumberText.h"
#include "tools/melnar-dict/shell/ToolFailure.h"

#include <algorithm>
#include <limits>
#include <optional>
#include <stdexcept>
#include <vector>

namespace {

constexpr std::string_view SPACES = " \t\n\r\f\v";

[[noreturn]] void fail(const std::string& cause) {
    throw ToolFailure(ExitCode::BAD_DATA, cause);
}

/// Reads the literal of a Python dictionary, as NumPy writes it.
class HeaderParser {
public:
    explicit HeaderParser(const std::string_view text) : m_text(text) {}

    NpyHeader parse() {
        NpyHeader header;
        require("{");
        while (!takes("}")) {
            const std::string_view key = takeString();
            require(":");
            if (key == "descr" && !m_hasType)
                takeType(header);
            else if (key == "fortran_order" && !m_hasOrder)
                takeOrder();
            else if (key == "shape" && !m_shape)
                takeShape();
            else
                fail("its header has '" + std::string(key) + "', which is unknown or a duplicate");
            if (takes("}"))
                break;
            require(",");
        }
        if (!m_hasType || !m_hasOrder || !m_shape)
            fail("its header lacks one of 'descr', 'fortran_order' and 'shape'");
        checkShape(header);
        takeComment(header);
        return header;
    }

private:
    void skipSpaces() { m_text.remove_prefix(std::min(m_text.find_first_not_of(SPACES), m_text.size())); }

    bool takes(const std::string_view token) {
        skipSpaces();
        const bool isThere = m_text.starts_with(token);
        m_text.remove_prefix(isThere ? token.size() : 0);
        return isThere;
    }

    void require(const std::string_view token) {
        if (!takes(token))
            fail("its header is malformed: expected '" + std::string(token) + "'");
    }

    std::string_view takeUntil(const std::string_view characters) {
        const std::string_view taken = m_text.substr(0, m_text.find_first_of(characters));
        m_text.remove_prefix(taken.size());
        return taken;
    }

    std::string_view takeString() {
        skipSpaces();
        const std::string_view quote = m_text.substr(0, 1);
        if (quote != "'" && quote != "\"")
            fail("its header is malformed: expected a text in quotes");
        require(quote);
        const std::string_view text = takeUntil(quote);
        require(quote);
        return text;
    }

    void takeType(NpyHeader& header) {
        if (takes("["))
            fail("its items are structures; expected numbers: subject, predicate, object, and graph if there are any");
        const std::string_view type = takeString();
        const std::string_view kind = type.substr(0, 2);
        const std::string_view width = type.substr(kind.size());
        if ((kind != "<u" && kind != "<i") || (width != "4" && width != "8"))
            fail("its numbers are of the type '" + std::string(type) +
                 "'; expected '<u4' or '<u8', little-endian, or with a sign '<i4' or '<i8'");
        header.m_isSigned = kind == "<i";
        header.m_layout.m_idWidth = width == "4" ? RowLayout::NARROW : RowLayout::WIDE;
        m_hasType = true;
    }

    void takeOrder() {
        if (takes("True"))
            fail("it is stored column by column (Fortran order); expected rows (C order)");
        require("False");
        m_hasOrder = true;
    }

    void takeShape() {
        require("(");
        std::vector<uint64_t>& shape = m_shape.emplace();
        while (!takes(")")) {
            skipSpaces();
            const std::optional<uint64_t> length = parseNumber(takeUntil(", )\t\n\r\f\v"));
            if (!length)
                fail("its header is malformed: expected the length of a dimension");
            shape.push_back(*length);
            if (takes(")"))
                break;
            require(",");
        }
    }

    void checkShape(NpyHeader& header) const {
        const std::vector<uint64_t>& shape = *m_shape;
        if (shape.size() != 2)
            fail("the array has " + std::to_string(shape.size()) + (shape.size() == 1 ? " dimension" : " dimensions") +
                 "; expected 2: rows and columns");
        if (shape[1] != 3 && shape[1] != 4)
            fail("the array has " + std::to_string(shape[1]) + (shape[1] == 1 ? " column" : " columns") +
                 "; expected 3 (triples) or 4 (quads)");
        header.m_numberOfRows = shape[0];
        header.m_layout.m_columns = shape[1];
        if (header.m_numberOfRows > uint64_t(std::numeric_limits<int64_t>::max()) / header.m_layout.getRowSize())
            fail("the array has " + std::to_string(header.m_numberOfRows) + " rows, more than a file can hold");
    }

    void takeComment(NpyHeader& header) {
        skipSpaces();
        if (m_text.starts_with('#')) {
            const std::string_view comment = takeUntil("\n");
            header.m_comment = comment.substr(0, comment.find_last_not_of(SPACES) + 1);
            skipSpaces();
        }
        if (!m_text.empty())
            fail("its header is malformed: expected its end");
    }

    std::string_view m_text; // the rest that has not been read
    bool m_hasType = false;
    bool m_hasOrder = false;
    std::optional<std::vector<uint64_t>> m_shape;
};

} // namespace

std::string NpyHeader::toBytes() const {
    constexpr size_t TEXT_BEGIN = PREAMBLE_SIZE + sizeof(uint16_t);
    std::string bytes(MAGIC);
    bytes.append({1, 0}); // the version
    bytes.append({static_cast<char>(SIZE - TEXT_BEGIN), 0});
    bytes.append("{'descr': '").append(m_isSigned ? "<i" : "<u").append(std::to_string(m_layout.m_idWidth));
    bytes.append("', 'fortran_order': False, 'shape': (").append(std::to_string(m_numberOfRows)).append(", ");
    bytes.append(std::to_string(m_layout.m_columns)).append("), } ").append(m_comment);
    if (bytes.size() >= SIZE)
        throw std::logic_error("A comment is too long for its header.");
    bytes.resize(SIZE - 1, ' ');
    bytes += '\n';
    return bytes;
}

NpyHeader NpyHeader::parse(const std::string_view text) {
    return HeaderParser(text).parse();
}
