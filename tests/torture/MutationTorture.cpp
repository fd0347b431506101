#include "tests/torture/MutationTorture.h"

#include "Engine/core/platform/MelnarException.h"
#include "Engine/core/platform/stream/MemoryOutputStream.h"
#include "tests/Engine/core/data-store/DictionaryForger.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/tools/melnar-dict/ToolProcess.h"
#include "tests/tools/melnar-dict/input/TextSource.h"
#include "tests/tools/melnar-dict/saved/HarmlessText.h"
#include "tests/torture/CrashMessage.h"
#include "tests/torture/Findings.h"
#include "tools/melnar-dict/pieces/TermText.h"
#include "tools/melnar-dict/rewrite/RowDecoder.h"
#include "tools/melnar-dict/rows/DictionaryLine.h"
#include "tools/melnar-dict/saved/FileDictionary.h"
#include "tools/melnar-dict/saved/ResourceRows.h"
#include "tools/melnar-dict/saved/WholeEntries.h"
#include "tools/melnar-dict/shell/StandardOutput.h"

#include <algorithm>
#include <random>
#include <sstream>
#include <utility>
#include <vector>

#include <sys/mman.h>
#include <unistd.h>

using namespace melnar;

namespace {

constexpr size_t MEMORY_LIMIT = size_t(4) << 20;
constexpr size_t MUTATIONS_FOR_A_PROCESS = 700; // of the tool
constexpr size_t SHARE_OF_ROWS = 5;             // one in this many mutations changes a file with rows
constexpr size_t BLOCK_SIZE = 300;

/// The resources of a dictionary by their IDs.
using Contents = std::vector<std::pair<std::string, uint8_t>>;

Contents getContents(const Dictionary& dictionary) {
    Contents contents(dictionary.getNextResourceID(), {"", D_INVALID});
    forEachWholeEntry(dictionary, [&contents](const BatchEntry& entry) {
        contents[entry.m_resourceID] = {std::string(entry.m_lexicalForm), entry.m_datatypeID};
    });
    return contents;
}

/// Describes the first resource that differs.
std::string describeDifference(const Contents& known, const Contents& found) {
    const auto describe = [](const Contents& contents, const size_t resourceID) {
        return resourceID >= contents.size() ? "nothing"
                                             : quoteBytes(contents[resourceID].first) + " of datatype " +
                                                   std::to_string(contents[resourceID].second);
    };
    const auto place = std::mismatch(known.begin(), known.end(), found.begin(), found.end());
    const auto resourceID = static_cast<size_t>(place.first - known.begin());
    return "resource " + std::to_string(resourceID) + " was " + describe(known, resourceID) + " and is " +
           describe(found, resourceID) + " in ";
}

struct SoundFile {
    explicit SoundFile(const Dictionary& dictionary)
        : m_bytes(writeToMemory(dictionary)), m_pieces(m_bytes), m_contents(getContents(dictionary)) {}

    std::string m_bytes;
    ForgedDictionaryFile m_pieces;
    Contents m_contents;
};

/// Makes a dictionary with texts that would control a terminal, or are not UTF-8.
std::unique_ptr<Dictionary> makeSpeakingDictionary() {
    auto dictionary = std::make_unique<Dictionary>(
        DictionaryOptions{.m_memoryLimit = TEST_MEMORY_LIMIT, .m_maximumNumberOfResources = NARROW});
    DictionaryThread thread(*dictionary);
    for (const char* const text : {"sound", "\xFF\x1B[2J", "\x1B]0;title\x07", "\xC2\x9B", "\x7F", "\n\r\t\"\\"}) {
        dictionary->resolveResource(thread, text, D_XSD_STRING);
        dictionary->resolveResource(thread, std::string(text) + "@en-GB", D_RDF_PLAIN_LITERAL);
        dictionary->resolveResource(thread, std::string("a:") + text, D_IRI);
        dictionary->resolveResource(thread, std::string(text) + "^^a:b" + text, D_TYPED_LITERAL);
        dictionary->resolveResource(thread, std::string(text) + "@en--rtl", D_DIRECTIONAL_STRING);
    }
    for (const char* const term : {"<<( <a:\x7F> <a:\xC2\x9B> \"\xC2\x9B\" )>>", "<<( _:\xC2\x9B <\xFF> _:\xFF )>>"})
        dictionary->resolveResource(thread, term, D_TRIPLE_TERM);
    dictionary->resolveResource(thread, "\xC2\x9B", D_BLANK_NODE);
    dictionary->commit();
    return dictionary;
}

/// Makes a .npy file with statements of makeDictionaryOfTerms.
std::string makeRows(const RowLayout& layout, const std::string& comment) {
    constexpr size_t ROWS = 40;
    constexpr uint64_t TERMS_OF_A_NUMBER = 6; // a string, an IRI, a blank node, and others, in this order
    std::vector<uint64_t> ids;
    for (uint64_t row = 0; row < ROWS; ++row) {
        const uint64_t first = row * TERMS_OF_A_NUMBER + 1;
        ids.insert(ids.end(), {first + 1 + row % 2, 2, first + row % (TERMS_OF_A_NUMBER - 1)});
        if (layout.m_columns == 4)
            ids.push_back(row % 3 == 0 ? 0 : first + row % 3);
    }
    std::string bytes = NpyHeader{layout, false, ROWS, comment}.toBytes();
    appendIDs(ids, layout.m_idWidth, bytes);
    return bytes;
}

/// A file in memory for printing.
class MemoryFile {
public:
    MemoryFile() : m_fileDescriptor(::memfd_create("printed", 0)) {}
    ~MemoryFile() { ::close(m_fileDescriptor); }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    int get() const { return m_fileDescriptor; }

    /// Returns the printed text, and clears it.
    std::string take() const {
        std::string text(static_cast<size_t>(::lseek(m_fileDescriptor, 0, SEEK_CUR)), '\0');
        const bool isRead = ::pread(m_fileDescriptor, text.data(), text.size(), 0) == ssize_t(text.size());
        if (!isRead || ::ftruncate(m_fileDescriptor, 0) != 0 || ::lseek(m_fileDescriptor, 0, SEEK_SET) != 0)
            throw std::runtime_error("A file in memory cannot be read.");
        return text;
    }

private:
    const int m_fileDescriptor;
};

class MutationTorture {
public:
    MutationTorture(const uint32_t seed, std::ostream& output, const OpenDictionary& open)
        : m_seed(seed), m_open(open), m_findings(output), m_random(seed), m_forger(seed) {
        m_files.emplace_back(*makeSampleDictionary(NARROW));
        m_files.emplace_back(*makeSampleDictionary(WIDE));
        m_files.emplace_back(*makeMediumDictionary());
        m_files.emplace_back(*makeSpeakingDictionary());
        m_files.emplace_back(*m_terms);
        for (const SoundFile& file : m_files)
            openDictionaryBytes(file.m_bytes); // would otherwise be refused for lack of memory, changed or not
        m_terms->save(m_directory.getPathOf("sound"));
        std::string comment = DictionaryLine::make(m_terms->getHistory());
        comment.pop_back(); // the line end
        for (const size_t columns : {size_t(3), size_t(4)})
            for (const size_t width : {RowLayout::NARROW, RowLayout::WIDE})
                m_rowFiles.push_back(makeRows({columns, width}, comment));
        for (const std::string& bytes : m_rowFiles)
            if (isDecodingRefused(bytes))
                m_findings.add("unchanged rows are refused: " + quoteBytes(bytes));
        m_directory.addFile("rows.npy", makeRows({3, RowLayout::NARROW}, ""));
        m_directory.addFile("encoded.nt", "<a:s> <a:p> <melnar:1> .\n<a:s> <a:p> <melnar:2> .\n");
        m_directory.addFile("in.nt", "<a:s> <a:p> \"abc\" .\n");
    }

    bool run(const size_t numberOfMutations) {
        for (size_t number = 0; number < numberOfMutations;) {
            m_name = "MELNAR_SEED=" + std::to_string(m_seed) + " mutation " + std::to_string(number);
            const bool isTurnOfTool = number % MUTATIONS_FOR_A_PROCESS == 0;
            if (below(SHARE_OF_ROWS) == 0)
                mutateRows(isTurnOfTool);
            else if (!mutateDictionary(isTurnOfTool))
                continue;
            ++number;
        }
        return m_findings.finish(
            numberOfMutations, "mutations of dictionaries and rows", "all refused, found or harmless",
            " (" + withCommas(m_refused) + " refused, " + withCommas(m_foundByVerify) + " found by verify, " +
                withCommas(m_harmless) + " with the same contents, " + withCommas(m_others) +
                " sound ones with others; of files with rows " + withCommas(m_rowsRefused) + " refused, " +
                withCommas(m_rowsDecoded) + " decoded to terms that are there; " + withCommas(m_toolRuns) +
                " runs of the tool)");
    }

private:
    size_t below(const size_t end) { return m_random() % end; }

    /// Returns false if nothing was changed.
    bool mutateDictionary(const bool runsTool) {
        const SoundFile& file = m_files[below(m_files.size())];
        const bool isForged = below(3) == 0;
        const std::string bytes = isForged ? m_forger.forge(file.m_pieces) : change(file.m_bytes);
        if (bytes == file.m_bytes)
            return false;
        m_name += isForged ? ", forged: " : ": ";
        CrashMessage::begin(m_name);
        check(file, bytes, isForged);
        if (runsTool) {
            m_directory.addFile("d", bytes);
            checkTool({{"verify", "d"},
                       {"dump", "d"},
                       {"get", "d", "1", "2", "3"},
                       {"stats", "d"},
                       {"stats", "d", "--html", "-"},
                       {"lookup", "d", "\"abc\"@en", "<a:s>"},
                       {"encode", "in.nt", "-d", "d", "-o", "out.npy"},
                       {"encode", "--as", "iri", "in.nt", "-d", "d", "-o", "-"},
                       {"decode", "rows.npy", "-d", "d", "-o", "-"},
                       {"decode", "--as", "iri", "encoded.nt", "-d", "d", "-o", "-"},
                       {"load", "in.nt", "--into", "d", "-o", "grown", "--ids", "grown.npy", "--force"},
                       {"compact", "d", "-o", "compacted", "--force"}});
        }
        return true;
    }

    void mutateRows(const bool runsTool) {
        const std::string bytes = change(m_rowFiles[below(m_rowFiles.size())]);
        m_name += ", of rows: ";
        CrashMessage::begin(m_name);
        ++(isDecodingRefused(bytes) ? m_rowsRefused : m_rowsDecoded);
        if (runsTool) {
            m_directory.addFile("changed.npy", bytes);
            checkTool({{"decode", "changed.npy", "-d", "sound", "-o", "-"}});
        }
    }

    /// Checks that decoded rows are the terms of the IDs in the file, unless they are refused.
    bool isDecodingRefused(const std::string& bytes) {
        MemoryOutputStream text;
        OrderedOutput output(text);
        RowDecoder decoder(m_sameTerms, output, true);
        std::string expected;
        bool isRefused = false;
        try {
            RowReader reader(std::make_unique<TextSource>(bytes), BLOCK_SIZE);
            RowBlock block;
            std::vector<uint64_t> ids;
            for (ParsedPiece piece; !isRefused && reader.next(block);) {
                reader.takeIDs(block, ids);
                piece.clear(block.m_sequence);
                decoder.decode(reader, block, piece);
                const size_t columns = reader.getHeader().m_layout.m_columns;
                for (size_t cell = 0; cell < piece.m_counts.m_statements * columns; ++cell)
                    if (cell % columns != 3 || ids[cell] != 0)
                        appendTerm(ids[cell], (cell + 1) % columns == 0, expected);
                    else
                        expected += ".\n";
                isRefused = !piece.m_errors.empty();
            }
        } catch (const ToolFailure&) {
            isRefused = true;
        }
        if (text.getBytes() != expected)
            m_findings.add(m_name + "rows are decoded to " + quoteBytes(text.getBytes()) + ": " + quoteBytes(bytes));
        return isRefused;
    }

    /// Appends a term with what follows it in a statement.
    void appendTerm(const uint64_t resourceID, const bool isLast, std::string& statement) {
        const Contents& contents = m_files.back().m_contents;
        if (resourceID < contents.size() && contents[resourceID].second != D_INVALID)
            appendTermText(contents[resourceID].first, contents[resourceID].second, statement);
        else
            statement += "no resource";
        statement += isLast ? " .\n" : " ";
    }

    /// Returns an offset in the file and a number of bytes that exist there.
    std::pair<size_t, size_t> chooseBlock(const std::string& bytes) {
        const size_t begin = below(bytes.size());
        return {begin, std::min(bytes.size() - begin, size_t(1) << below(13))};
    }

    std::string change(std::string bytes) {
        switch (below(8)) {
        case 0:
        case 1:
            for (size_t count = 1 + below(3); count != 0; --count) {
                const size_t place = below(bytes.size());
                bytes[place] = static_cast<char>(bytes[place] ^ 1 << below(8));
            }
            break;
        case 2:
        case 3:
            for (size_t count = 1 + below(8); count != 0; --count)
                bytes[below(bytes.size())] = static_cast<char>(m_random());
            break;
        case 4: { // two blocks of the same size
            const auto [first, size] = chooseBlock(bytes);
            const size_t second = below(bytes.size() - size + 1);
            const std::string block = bytes.substr(first, size);
            bytes.replace(first, size, bytes.substr(second, size));
            bytes.replace(second, size, block);
            break;
        }
        case 5: {
            const auto [begin, size] = chooseBlock(bytes);
            bytes.insert(below(bytes.size() + 1), bytes.substr(begin, size));
            break;
        }
        case 6: {
            const auto [begin, size] = chooseBlock(bytes);
            if (below(2) == 0)
                bytes.erase(begin, size);
            else
                bytes.replace(begin, size, size, '\0');
            break;
        }
        default:
            if (below(4) == 0)
                bytes.append(1 + below(100), static_cast<char>(m_random()));
            else
                bytes.resize(below(bytes.size()));
        }
        return bytes;
    }

    void check(const SoundFile& file, const std::string& bytes, const bool isForged) {
        std::unique_ptr<Dictionary> dictionary;
        try {
            dictionary = m_open(bytes);
        } catch (const MelnarException&) {
            ++m_refused;
            return;
        }
        checkRows(*dictionary);
        if (isForged)
            try {
                dictionary->verify();
            } catch (const MelnarException&) {
                ++m_foundByVerify;
                return;
            }
        const Contents contents = getContents(*dictionary);
        if (contents == file.m_contents)
            ++m_harmless;
        else if (isForged && isSound(*dictionary, contents))
            ++m_others;
        else
            m_findings.add(m_name + "what it holds is something else: " +
                           describeDifference(file.m_contents, contents) + quoteBytes(bytes));
    }

    /// Returns whether a lookup finds each literal under its own ID: then it is a valid dictionary. A forger may move
    /// the ends of IDs, or choose a text whose bucket is that of the old one.
    static bool isSound(const Dictionary& dictionary, const Contents& contents) {
        for (size_t resourceID = 1; resourceID < contents.size(); ++resourceID) {
            const auto& [form, datatypeID] = contents[resourceID];
            if (datatypeID != D_INVALID &&
                dictionary.tryResolveResource(DictionaryCommitPoint::ALL, form, datatypeID) != resourceID)
                return false;
        }
        return true;
    }

    void checkRows(const Dictionary& dictionary) {
        for (const bool isJson : {false, true}) {
            std::ostringstream messages;
            StandardOutput rowOutput(m_printed.get());
            ResourceRows rows(isJson, rowOutput, messages);
            forEachWholeEntry(dictionary, [&rows](const BatchEntry& entry) { rows.print(entry); });
            rowOutput.flush();
            const std::string text = m_printed.take() + messages.str();
            if (!isHarmless(text))
                m_findings.add(m_name + "prints " + quoteBytes(text));
        }
    }

    void checkTool(const std::vector<std::vector<std::string>>& commands) {
        ToolInput input;
        input.m_workingDirectory = m_directory.getPathOf("");
        for (const std::vector<std::string>& arguments : commands) {
            const ToolResult result = runToolProcess(arguments, input);
            ++m_toolRuns;
            const bool isKnown = result.m_exitCode == 0 || result.m_exitCode == 1 || result.m_exitCode == 3;
            if (!isKnown || !isHarmless(result.m_output) || !isHarmless(result.m_errorOutput))
                m_findings.add(m_name + arguments.front() + " ends with " + std::to_string(result.m_exitCode) +
                               " and prints " + quoteBytes(result.m_output + result.m_errorOutput));
        }
    }

    const uint32_t m_seed;
    const OpenDictionary m_open;
    Findings m_findings;
    std::mt19937 m_random;
    DictionaryForger m_forger;
    const CrashMessage m_crashMessage{};
    const TemporaryDirectory m_directory;
    const MemoryFile m_printed;
    const std::unique_ptr<Dictionary> m_terms = makeDictionaryOfTerms();
    const FileDictionary m_sameTerms{makeDictionaryOfTerms()};
    std::vector<SoundFile> m_files; // the last one holds m_terms
    std::vector<std::string> m_rowFiles;
    std::string m_name; // of the current mutation
    size_t m_refused = 0;
    size_t m_foundByVerify = 0;
    size_t m_harmless = 0;
    size_t m_others = 0;
    size_t m_rowsRefused = 0;
    size_t m_rowsDecoded = 0;
    size_t m_toolRuns = 0;
};

} // namespace

std::unique_ptr<Dictionary> openDictionaryBytes(const std::string& bytes) {
    return readFromMemory(bytes, MEMORY_LIMIT);
}

bool tortureMutations(const size_t numberOfMutations, const uint32_t seed, std::ostream& output,
                      const OpenDictionary& open) {
    return MutationTorture(seed, output, open).run(numberOfMutations);
}
