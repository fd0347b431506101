#include "Engine/core/platform/stream/MemoryOutputStream.h"
#include "tests/Engine/core/data-store/DictionaryForger.h"
#include "tests/fuzz/Require.h"
#include "tests/fuzz/SoundRows.h"
#include "tests/tools/melnar-dict/input/TextSource.h"
#include "tools/melnar-dict/pieces/TermText.h"
#include "tools/melnar-dict/rewrite/RowDecoder.h"
#include "tools/melnar-dict/rows/RowReader.h"
#include "tools/melnar-dict/saved/FileDictionary.h"
#include "tools/melnar-dict/shell/ToolFailure.h"
#include "tools/melnar-dict/threads/OrderedOutput.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <regex>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

// Any bytes as a file with rows of IDs. They are refused as bad data, or read as the format says, which the program
// states a second time. What is read does not depend on how it is cut, is written again the same, and is decoded to the
// terms of its IDs.

extern "C" size_t LLVMFuzzerMutate(uint8_t* data, size_t size, size_t maximumSize); // NOLINT

namespace {

constexpr std::string_view SPACES = " \t\n\r\f\v";
constexpr size_t LONGEST_STATED_HEADER = 300; // The regular expressions take a lot of stack.
constexpr size_t LONGEST_WRITTEN_COMMENT = 100;

constexpr uint64_t TERMS_OF_A_NUMBER = 6; // of makeDictionaryOfTerms
constexpr uint64_t NUMBERS = 400;

/// The contents of a file.
struct Rows {
    NpyHeader m_header;
    std::vector<uint64_t> m_ids;

    bool operator==(const Rows& other) const {
        return m_header.m_layout == other.m_header.m_layout && m_header.m_isSigned == other.m_header.m_isSigned &&
               m_header.m_numberOfRows == other.m_header.m_numberOfRows &&
               m_header.m_comment == other.m_header.m_comment && m_ids == other.m_ids;
    }
};

/// Returns the contents that the tool reads, or nothing if it refuses the file.
std::optional<Rows> readRows(const std::string& bytes, const size_t blockSize, const size_t bytesAtOnce) {
    try {
        RowReader reader(std::make_unique<TextSource>(bytes, bytesAtOnce), blockSize);
        Rows rows{reader.getHeader(), {}};
        std::vector<uint64_t> ids;
        for (RowBlock block; reader.next(block);) {
            require(block.m_firstRow * rows.m_header.m_layout.m_columns == rows.m_ids.size(), "a block has its place");
            reader.takeIDs(block, ids);
            rows.m_ids.insert(rows.m_ids.end(), ids.begin(), ids.end());
        }
        return rows;
    } catch (const ToolFailure& failure) {
        require(failure.getExitCode() == ExitCode::BAD_DATA && *failure.what() != '\0',
                "a file is refused as bad data, with the reason");
        return std::nullopt;
    }
}

std::string replaceAll(std::string text, const std::string& part, const std::string& replacement) {
    for (size_t place = 0; (place = text.find(part, place)) != std::string::npos; place += replacement.size())
        text.replace(place, part.size(), replacement);
    return text;
}

/// Makes the patterns of the text of a header, from its start to the closing brace: the entries have any order. "~"
/// means any spaces.
std::vector<std::regex> makeHeaderPatterns() {
    std::vector<std::string> entries{
        R"x((?:'descr'|"descr")~:~(?:'(<[ui][48])'|"(<[ui][48])"))x",
        R"x((?:'fortran_order'|"fortran_order")~:~False)x",
        R"x((?:'shape'|"shape")~:~\(~([0-9]+)~,~0*([34])~,?~\))x",
    };
    std::sort(entries.begin(), entries.end());
    std::vector<std::regex> patterns;
    do {
        const std::string pattern = "~\\{~" + entries[0] + "~,~" + entries[1] + "~,~" + entries[2] + "~,?~\\}";
        patterns.emplace_back(replaceAll(pattern, "~", "[ \\t\\n\\r\\f\\v]*"));
    } while (std::next_permutation(entries.begin(), entries.end()));
    return patterns;
}

/// Returns the text with one space in place of several. No name in a header has a space.
std::string joinSpaces(const std::string_view text) {
    std::string joined;
    for (const char character : text)
        if (SPACES.find(character) == std::string_view::npos)
            joined += character;
        else if (!joined.ends_with(' '))
            joined += ' ';
    return joined;
}

std::string_view trim(std::string_view text) {
    text.remove_prefix(std::min(text.find_first_not_of(SPACES), text.size()));
    return text.substr(0, text.find_last_not_of(SPACES) + 1);
}

/// Returns what the text of a header says, or nothing if it is none.
std::optional<NpyHeader> stateHeader(const std::string& braces, std::string_view rest) {
    static const std::vector<std::regex> patterns = makeHeaderPatterns();
    NpyHeader header;
    std::smatch found;
    if (std::none_of(patterns.begin(), patterns.end(),
                     [&](const std::regex& pattern) { return std::regex_match(braces, found, pattern); }))
        return std::nullopt;
    std::vector<std::string> parts; // the type, the rows and the columns, in any order
    for (size_t index = 1; index < found.size(); ++index)
        if (found[index].matched)
            parts.push_back(found[index].str());
    const bool isTypeFirst = parts.front().front() == '<';
    const std::string& type = isTypeFirst ? parts[0] : parts[2];
    const std::string& rows = isTypeFirst ? parts[1] : parts[0];
    const std::string& columns = isTypeFirst ? parts[2] : parts[1];
    header.m_isSigned = type[1] == 'i';
    header.m_layout = {columns == "3" ? size_t(3) : size_t(4), type[2] == '4' ? RowLayout::NARROW : RowLayout::WIDE};
    try {
        header.m_numberOfRows = std::stoull(rows);
    } catch (const std::out_of_range&) {
        return std::nullopt;
    }
    if (header.m_numberOfRows > uint64_t(std::numeric_limits<int64_t>::max()) / header.m_layout.getRowSize())
        return std::nullopt;
    rest.remove_prefix(std::min(rest.find_first_not_of(SPACES), rest.size()));
    if (rest.starts_with('#')) {
        const std::string_view comment = rest.substr(0, rest.find('\n'));
        header.m_comment = trim(comment);
        rest.remove_prefix(comment.size());
    }
    return trim(rest).empty() ? std::optional(header) : std::nullopt;
}

/// Returns what the format says about the bytes: nothing if they are no such file.
std::optional<Rows> stateRows(const std::string_view bytes, bool& isStated) {
    isStated = true;
    if (bytes.size() < 8 || !bytes.starts_with("\x93NUMPY") || bytes[6] < 1 || bytes[6] > 3)
        return std::nullopt;
    const size_t begin = bytes[6] == 1 ? 10 : 12;
    if (bytes.size() < begin)
        return std::nullopt;
    size_t length = 0;
    for (size_t index = begin; index-- > 8;)
        length = length * 256 + static_cast<uint8_t>(bytes[index]);
    if (length > 65535 || bytes.size() < begin + length)
        return std::nullopt;
    const std::string_view text = bytes.substr(begin, length);
    const size_t end = std::min(text.find('}'), text.size() - 1) + 1;
    const std::string braces = joinSpaces(text.substr(0, end));
    isStated = braces.size() <= LONGEST_STATED_HEADER;
    const std::optional<NpyHeader> header = isStated ? stateHeader(braces, text.substr(end)) : std::nullopt;
    if (!header)
        return std::nullopt;
    Rows rows{*header, {}};
    const std::string_view data = bytes.substr(begin + length);
    const size_t width = header->m_layout.m_idWidth;
    if (data.size() / header->m_layout.getRowSize() != header->m_numberOfRows ||
        data.size() % header->m_layout.getRowSize() != 0)
        return std::nullopt;
    for (size_t place = 0; place < data.size(); place += width) {
        uint64_t id = 0;
        for (size_t index = width; index-- > 0;)
            id = id * 256 + static_cast<uint8_t>(data[place + index]);
        if (header->m_isSigned && (id >> (8 * width - 1)) != 0)
            return std::nullopt;
        rows.m_ids.push_back(id);
    }
    return rows;
}

/// Returns whether a statement can have this ID of makeDictionaryOfTerms in this column. The triple terms have a
/// relative IRI, which no file can hold.
bool isAllowed(const uint64_t id, const size_t column) {
    if (id == 0 && column == 3)
        return true;
    if (id == 0 || id > NUMBERS * TERMS_OF_A_NUMBER)
        return false;
    const uint64_t kind = (id - 1) % TERMS_OF_A_NUMBER;
    return (column == 2 && kind != 5) || kind == 1 || (kind == 2 && column != 1);
}

/// Checks that rows are decoded to the terms of their IDs, up to the first ID that a statement cannot have.
void checkDecoding(const std::string& bytes, const Rows& rows, const size_t blockSize) {
    static const std::unique_ptr<Dictionary> dictionary = makeDictionaryOfTerms();
    static const FileDictionary saved(makeDictionaryOfTerms());
    const size_t columns = rows.m_header.m_layout.m_columns;
    std::string expected;
    std::string form;
    size_t end = 0; // the first cell that is not allowed
    while (end < rows.m_ids.size() && isAllowed(rows.m_ids[end], end % columns))
        ++end;
    for (size_t cell = 0; cell < end / columns * columns; ++cell) {
        if (rows.m_ids[cell] != 0) {
            const uint8_t datatypeID = dictionary->getResource(rows.m_ids[cell], form);
            appendTermText(form, datatypeID, expected);
            expected += ' ';
        }
        expected += (cell + 1) % columns == 0 ? ".\n" : "";
    }
    melnar::MemoryOutputStream text;
    OrderedOutput output(text);
    RowDecoder decoder(saved, output, true);
    RowReader reader(std::make_unique<TextSource>(bytes), blockSize);
    ParsedPiece piece;
    for (RowBlock block; piece.m_errors.empty() && reader.next(block);) {
        piece.clear(block.m_sequence);
        decoder.decode(reader, block, piece);
    }
    require(text.getBytes() == expected, "rows are decoded to their terms");
    require(piece.m_errors.empty() == (end == rows.m_ids.size()), "an ID that a statement cannot have is an error");
    if (!piece.m_errors.empty())
        require(piece.m_errors.front().m_cause.starts_with("row " + std::to_string(end / columns) + ": "),
                "an error names the row");
}

/// Checks which lines that name a dictionary are refused, by a second statement of the rules.
void checkDictionaryLines(const std::string& text) {
    static const std::string known = [] {
        DictionaryHistory history;
        saveOnce(history);
        return "dictionary " + history.getIdentity()->toString() + ", generation ";
    }();
    const std::string beginning = "# melnar-dict: encoded with ";
    uint64_t refused = 0;
    std::istringstream lines(text);
    std::string line;
    for (uint64_t number = 1; refused == 0 && std::getline(lines, line); ++number) {
        if (!line.starts_with(beginning))
            continue;
        const std::string description = line.substr(beginning.size(), line.find('\r') - beginning.size());
        const std::string generation = description.substr(std::min(known.size(), description.size()));
        if (!description.starts_with(known) || generation.empty() ||
            generation.find_first_not_of("0123456789") != std::string::npos)
            refused = number;
    }
    DictionaryHistory history;
    saveOnce(history);
    const auto found = DictionaryLine::findRefused(text, history);
    require((found ? found->m_line : 0) == refused, "the first line of another dictionary is refused");
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) { // NOLINT(readability-identifier-naming)
    for (const std::string& file : makeSoundRows()) {
        const std::optional<Rows> rows = readRows(file, 100, 100);
        require(rows && writeRows(rows->m_header, rows->m_ids) == file,
                "sound rows are read, and written as they were");
    }
    return 0;
}

/// Usually changes the text or the rows, and makes the length or the number of rows right that would hide the rest.
extern "C" size_t LLVMFuzzerCustomMutator(uint8_t* const data, const size_t size, const size_t maximumSize, // NOLINT
                                          const unsigned seed) {
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    const size_t begin = std::min<size_t>(size, 10);
    const size_t length = begin == 10 ? std::min<size_t>(data[8] + data[9] * size_t(256), size - 10) : 0;
    std::string text = bytes.substr(begin, length);
    std::string ids = bytes.substr(begin + length);
    const auto mutate = [](std::string& part) {
        const size_t partSize = part.size();
        part.resize(partSize + 64);
        part.resize(LLVMFuzzerMutate(reinterpret_cast<uint8_t*>(part.data()), partSize, part.size()));
    };
    std::string mutated;
    if (seed % 4 == 0) { // the rows, whose number is right afterwards
        mutate(ids);
        try {
            NpyHeader header = NpyHeader::parse(text);
            header.m_numberOfRows = ids.size() / header.m_layout.getRowSize();
            header.m_comment.resize(std::min(header.m_comment.size(), LONGEST_WRITTEN_COMMENT));
            ids.resize(header.m_numberOfRows * header.m_layout.getRowSize());
            mutated = header.toBytes() + ids;
        } catch (const ToolFailure&) {
        }
    } else if (seed % 4 != 1) { // the text, whose length is right afterwards
        mutate(text);
        text.resize(std::min<size_t>(text.size(), 65535));
        mutated = std::string("\x93NUMPY\1\0", 8) + static_cast<char>(text.size() % 256) +
                  static_cast<char>(text.size() / 256) + text + ids;
    }
    if (mutated.empty() || mutated.size() > maximumSize)
        return LLVMFuzzerMutate(data, size, maximumSize);
    std::copy(mutated.begin(), mutated.end(), data);
    return mutated.size();
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* const data, const size_t size) { // NOLINT
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    const size_t hash = std::hash<std::string>()(bytes);
    checkDictionaryLines(bytes);
    const std::optional<Rows> rows = readRows(bytes, 1 + hash % 100, 1 + hash / 128 % 300);
    bool isStated = false;
    const std::optional<Rows> stated = stateRows(bytes, isStated);
    if (isStated)
        require(rows == stated, "rows are read as the format says");
    if (!rows)
        return 0;
    require(readRows(bytes, RowReader::DEFAULT_BLOCK_SIZE, size) == rows, "rows do not depend on the cuts");
    checkDictionaryLines(rows->m_header.m_comment);
    checkDecoding(bytes, *rows, 1 + hash / 64 % 100);
    if (rows->m_header.m_comment.size() > LONGEST_WRITTEN_COMMENT)
        return 0;
    const std::string written = writeRows(rows->m_header, rows->m_ids);
    require(readRows(written, 100, 100) == rows, "what is written is read again");
    return 0;
}
