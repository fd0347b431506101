#include "melnar.h"

#include "tests/Engine/core/data-store/DictionaryModel.h"
#include "tests/fuzz/LanguageTag.h"
#include "tests/fuzz/Require.h"
#include "tests/support/TemporaryDirectory.h"

#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// A sequence of calls of the interface for C, chosen by the input, on a dictionary and on a simple model. Results and
// codes must agree, and nothing may be thrown.

namespace {

constexpr uint64_t MEMORY_LIMIT = uint64_t(16) << 20;
constexpr size_t LONGEST_COLUMN = 5;
constexpr size_t LONGEST_TEXT = 200;
constexpr size_t MAXIMUM_NUMBER_OF_CALLS = 200;

using Literal = DictionaryModel::Literal;

/// A column in all layouts that the interface takes.
struct Column {
    void add(const std::string& text) {
        m_bytes += text;
        m_offsets32.push_back(static_cast<int32_t>(m_bytes.size()));
        m_offsets64.push_back(static_cast<int64_t>(m_bytes.size()));
        m_texts.push_back(text);
    }

    void finish() {
        for (const std::string& text : m_texts) {
            m_pointers.push_back(text.data());
            m_lengths.push_back(text.size());
        }
    }

    std::vector<std::string> m_texts;
    std::vector<const char*> m_pointers;
    std::vector<size_t> m_lengths;
    std::string m_bytes;
    std::vector<int32_t> m_offsets32{0};
    std::vector<int64_t> m_offsets64{0};
};

class Calls {
public:
    Calls(const uint8_t* const data, const size_t size) : m_input(data, size) {}
    ~Calls() { melnar_close(m_dictionary); }
    Calls(const Calls&) = delete;
    Calls& operator=(const Calls&) = delete;

    void run() {
        m_maximum = m_input.ConsumeBool() ? m_input.ConsumeIntegralInRange<uint64_t>(1, 20) : 1000;
        create();
        for (size_t count = 0; m_input.remaining_bytes() != 0 && count < MAXIMUM_NUMBER_OF_CALLS; ++count)
            call();
        checkFigures();
    }

private:
    melnar_options getOptions() const {
        return {.memory_limit = MEMORY_LIMIT, .maximum_number_of_resources = m_maximum};
    }

    void create() {
        const melnar_options options = getOptions();
        expect(MELNAR_OK, melnar_create(&options, &m_dictionary, &m_error));
    }

    void call() {
        switch (m_input.ConsumeIntegralInRange(0, 12)) {
        case 0:
        case 1:
            encode();
            break;
        case 2:
            lookUp();
            break;
        case 3:
            decode();
            break;
        case 4:
            getTerm();
            break;
        case 5:
        case 6:
            encodeTerm();
            break;
        case 7:
            commit();
            break;
        case 8:
            expect(MELNAR_OK, melnar_rollback(m_dictionary, &m_error));
            m_model.rollback();
            break;
        case 9:
            save();
            break;
        case 10:
            open();
            break;
        case 11:
            misuse();
            break;
        default:
            checkFigures();
        }
    }

    /// Checks what each function says about its success.
    void expect(const melnar_code expected, const melnar_code code, const size_t index = MELNAR_NO_INDEX) {
        require(code == expected, "a call has the code that the model has");
        require(m_error.code == code && m_error.index == index, "an error has the code and the index");
        require(std::memchr(m_error.message, 0, sizeof(m_error.message)) != nullptr, "a message ends");
        require((m_error.message[0] == 0) == (code == MELNAR_OK), "a failure has a message, and a success none");
        std::memset(&m_error, 0xA5, sizeof(m_error));
    }

    /// Chooses texts from the input, or those that exist.
    std::string chooseText() {
        if (m_input.ConsumeBool() && !m_model.m_literals.empty()) {
            const size_t index = m_input.ConsumeIntegralInRange<size_t>(0, m_model.m_literals.size() - 1);
            return parse(std::next(m_model.m_literals.begin(), static_cast<std::ptrdiff_t>(index))->second).m_text;
        }
        return m_input.ConsumeRandomLengthString(LONGEST_TEXT);
    }

    std::string chooseLanguage() {
        constexpr std::array LANGUAGES{"", "", "en", "de-AT", "e n"};
        const auto index = m_input.ConsumeIntegralInRange<size_t>(0, LANGUAGES.size());
        if (index < LANGUAGES.size())
            return LANGUAGES[index];
        const std::string language = m_input.ConsumeRandomLengthString(LONGEST_TEXT);
        return language.c_str(); // a zero byte ends it
    }

    uint64_t chooseCommitPoint() {
        return m_input.ConsumeBool() ? MELNAR_UNCOMMITTED
                                     : m_input.ConsumeIntegralInRange<uint64_t>(0, m_model.m_nextResourceID + 1);
    }

    uint64_t chooseID() { return m_input.ConsumeIntegralInRange<uint64_t>(0, m_model.m_nextResourceID + 1); }

    static Literal makeString(const std::string& text, const std::string& language) {
        return language.empty() ? Literal{D_XSD_STRING, text} : Literal{D_RDF_PLAIN_LITERAL, text + '@' + language};
    }

    /// A term of C with its parts, as the model sees it.
    struct Parts {
        int32_t m_kind;
        std::string m_text;
        std::string m_language;
        std::string m_datatype;
    };

    static Parts parse(const Literal& literal) {
        const std::string& form = literal.m_lexicalForm;
        if (literal.m_datatypeID == D_RDF_PLAIN_LITERAL)
            return {MELNAR_LITERAL, form.substr(0, form.rfind('@')), form.substr(form.rfind('@') + 1), {}};
        if (literal.m_datatypeID == D_TYPED_LITERAL)
            return {MELNAR_LITERAL, form.substr(0, form.rfind("^^")), {}, form.substr(form.rfind("^^") + 2)};
        return {literal.m_datatypeID == D_IRI ? MELNAR_IRI : MELNAR_LITERAL, form, {}, {}};
    }

    /// Creates a literal in the model. Returns 0 if the dictionary is full.
    uint64_t resolve(const Literal& literal) {
        if (const uint64_t known = m_model.find(literal, MELNAR_UNCOMMITTED); known != 0)
            return known;
        if (m_model.m_nextResourceID > m_maximum)
            return 0;
        m_model.m_literals[m_model.m_nextResourceID] = literal;
        return m_model.m_resourceIDs[literal] = m_model.m_nextResourceID++;
    }

    Column chooseColumn() {
        Column column;
        const bool areLengthsGiven = m_input.ConsumeBool();
        for (size_t count = m_input.ConsumeIntegralInRange<size_t>(0, LONGEST_COLUMN); count != 0; --count)
            column.add(areLengthsGiven ? chooseText() : std::string(chooseText().c_str()));
        column.finish();
        if (!areLengthsGiven)
            column.m_lengths.clear();
        return column;
    }

    /// Passes a column in one of its layouts to one of three functions.
    template<class Pointers, class Arrow32, class Arrow64>
    melnar_code pass(const Column& column, const Pointers& pointers, const Arrow32& arrow32, const Arrow64& arrow64) {
        switch (m_input.ConsumeIntegralInRange(0, 2)) {
        case 0:
            return pointers(column.m_pointers.data(), column.m_lengths.empty() ? nullptr : column.m_lengths.data());
        case 1:
            return arrow32(column.m_bytes.data(), column.m_offsets32.data());
        default:
            return arrow64(column.m_bytes.data(), column.m_offsets64.data());
        }
    }

    void encode() {
        const Column column = chooseColumn();
        const std::string language = chooseLanguage();
        const size_t count = column.m_texts.size();
        std::vector<uint64_t> ids(count, ~uint64_t(0));
        const melnar_code code = pass(
            column,
            [&](const char* const* const texts, const size_t* const lengths) {
                return melnar_encode(m_dictionary, texts, lengths, count, language.c_str(), ids.data(), &m_error);
            },
            [&](const char* const bytes, const int32_t* const offsets) {
                return melnar_encode_arrow32(m_dictionary, bytes, offsets, count, language.c_str(), ids.data(),
                                             &m_error);
            },
            [&](const char* const bytes, const int64_t* const offsets) {
                return melnar_encode_arrow64(m_dictionary, bytes, offsets, count, language.c_str(), ids.data(),
                                             &m_error);
            });
        const bool isRefused = !language.empty() && !isLanguageTag(language);
        std::optional<size_t> failed;
        for (size_t index = 0; index < count; ++index) {
            const Literal literal = makeString(column.m_texts[index], language);
            if (isRefused) {
                require(ids[index] == 0, "a column with a malformed tag has no IDs");
            } else if (failed) {
                require(ids[index] == 0 || ids[index] == m_model.find(literal, MELNAR_UNCOMMITTED),
                        "after a failure, the IDs that are there are right");
            } else {
                const uint64_t expected = resolve(literal);
                require(ids[index] == expected, "a text gets its ID");
                if (expected == 0)
                    failed = index;
            }
        }
        if (isRefused)
            expect(MELNAR_REFUSED, code);
        else if (failed)
            expect(MELNAR_FULL, code, *failed);
        else
            expect(MELNAR_OK, code);
    }

    void lookUp() {
        const Column column = chooseColumn();
        const std::string language = chooseLanguage();
        const uint64_t commitPoint = chooseCommitPoint();
        const size_t count = column.m_texts.size();
        std::vector<uint64_t> ids(count, ~uint64_t(0));
        const melnar_code code = pass(
            column,
            [&](const char* const* const texts, const size_t* const lengths) {
                return melnar_lookup(m_dictionary, commitPoint, texts, lengths, count, language.c_str(), ids.data(),
                                     &m_error);
            },
            [&](const char* const bytes, const int32_t* const offsets) {
                return melnar_lookup_arrow32(m_dictionary, commitPoint, bytes, offsets, count, language.c_str(),
                                             ids.data(), &m_error);
            },
            [&](const char* const bytes, const int64_t* const offsets) {
                return melnar_lookup_arrow64(m_dictionary, commitPoint, bytes, offsets, count, language.c_str(),
                                             ids.data(), &m_error);
            });
        const bool isRefused = !language.empty() && !isLanguageTag(language);
        expect(isRefused ? MELNAR_REFUSED : MELNAR_OK, code);
        for (size_t index = 0; index < count; ++index)
            require(ids[index] ==
                        (isRefused ? 0 : m_model.find(makeString(column.m_texts[index], language), commitPoint)),
                    "a lookup finds what the commit point covers");
    }

    void decode() {
        std::vector<uint64_t> ids(m_input.ConsumeIntegralInRange<size_t>(0, LONGEST_COLUMN));
        std::generate(ids.begin(), ids.end(), [&] { return chooseID(); });
        melnar_column column{7, nullptr, nullptr};
        const melnar_code code = melnar_decode(m_dictionary, ids.data(), ids.size(), &column, &m_error);
        const auto absent =
            std::find_if(ids.begin(), ids.end(), [&](const uint64_t id) { return m_model.m_literals.count(id) == 0; });
        if (absent != ids.end()) {
            expect(MELNAR_NO_SUCH_RESOURCE, code, static_cast<size_t>(absent - ids.begin()));
            require(column.count == 0 && column.bytes == nullptr && column.offsets == nullptr,
                    "after a failure a column is empty");
            return;
        }
        expect(MELNAR_OK, code);
        require(column.count == ids.size() && column.offsets[0] == 0, "a column has all texts");
        for (size_t index = 0; index < ids.size(); ++index) {
            const std::string text = parse(m_model.m_literals.at(ids[index])).m_text;
            require(std::string_view(column.bytes + column.offsets[index],
                                     static_cast<size_t>(column.offsets[index + 1] - column.offsets[index])) == text,
                    "a column has the text of each ID");
        }
        melnar_column_free(&column);
        require(column.bytes == nullptr && column.offsets == nullptr, "a released column is empty");
    }

    void getTerm() {
        const uint64_t id = chooseID();
        melnar_term term{};
        const melnar_code code = melnar_get(m_dictionary, id, &term, &m_error);
        const auto known = m_model.m_literals.find(id);
        if (known == m_model.m_literals.end()) {
            expect(MELNAR_NO_SUCH_RESOURCE, code);
            require(term.kind == 0 && term.text == nullptr, "after a failure a term is empty");
            return;
        }
        expect(MELNAR_OK, code);
        const Parts parts = parse(known->second);
        const auto isPart = [](const std::string& part, const char* const data, const size_t size) {
            return size == part.size() && std::memcmp(data, part.c_str(), size + 1) == 0;
        };
        require(term.kind == parts.m_kind && term.direction == MELNAR_NO_DIRECTION, "a term has its kind");
        require(isPart(parts.m_text, term.text, term.text_length) &&
                    isPart(parts.m_language, term.language, term.language_length) &&
                    isPart(parts.m_datatype, term.datatype, term.datatype_length),
                "a term has its parts, and a zero byte after each");
        melnar_term_free(&term);
        require(term.text == nullptr, "a released term is empty");
    }

    /// Encodes a term, or looks it up: a string, an IRI or a literal of another datatype.
    void encodeTerm() {
        const int kind = m_input.ConsumeIntegralInRange(0, 3);
        const std::string text = chooseText();
        Parts parts{MELNAR_LITERAL, text, {}, {}};
        Literal literal{D_XSD_STRING, text};
        melnar_code refusal = MELNAR_OK;
        if (kind == 0) {
            parts.m_language = chooseLanguage();
            literal = makeString(text, parts.m_language);
            if (!parts.m_language.empty() && !isLanguageTag(parts.m_language))
                refusal = MELNAR_REFUSED;
        } else if (kind == 1) {
            parts.m_kind = MELNAR_IRI;
            literal.m_datatypeID = D_IRI;
            if (text.empty())
                refusal = MELNAR_REFUSED;
        } else if (kind == 2) {
            parts.m_datatype = "x:" + std::to_string(m_input.ConsumeIntegralInRange(0, 3));
            literal = {D_TYPED_LITERAL, text + "^^" + parts.m_datatype};
        } else {
            parts.m_kind = m_input.ConsumeIntegral<int8_t>();
            if (parts.m_kind >= MELNAR_IRI && parts.m_kind <= MELNAR_TRIPLE_TERM)
                return;
            refusal = MELNAR_MISUSE;
        }
        const melnar_term term{parts.m_kind,
                               MELNAR_NO_DIRECTION,
                               parts.m_text.data(),
                               parts.m_text.size(),
                               parts.m_language.data(),
                               parts.m_language.size(),
                               parts.m_datatype.data(),
                               parts.m_datatype.size()};
        uint64_t id = ~uint64_t(0);
        if (m_input.ConsumeBool()) {
            const uint64_t commitPoint = chooseCommitPoint();
            expect(refusal, melnar_lookup_term(m_dictionary, commitPoint, &term, &id, &m_error));
            require(id == (refusal == MELNAR_OK ? m_model.find(literal, commitPoint) : 0), "a term is found");
            return;
        }
        const melnar_code code = melnar_encode_term(m_dictionary, &term, &id, &m_error);
        const uint64_t expected = refusal == MELNAR_OK ? resolve(literal) : 0;
        expect(refusal == MELNAR_OK && expected == 0 ? MELNAR_FULL : refusal, code);
        require(id == expected, "a term gets its ID");
    }

    void commit() {
        melnar_commit_point commitPoint = 0;
        expect(MELNAR_OK, melnar_commit(m_dictionary, &commitPoint, &m_error));
        m_model.commit();
        require(commitPoint == m_model.m_commitPoint, "a commit returns its commit point");
    }

    void save() {
        expect(MELNAR_OK, melnar_save(m_dictionary, getFileName().c_str(), &m_error));
        m_saved = m_model;
        m_savedMaximum = m_maximum;
    }

    /// Opens the saved dictionary in place of the present one.
    void open() {
        const melnar_options options = getOptions();
        melnar_dictionary* opened = m_dictionary;
        const std::string name = m_saved ? getFileName() : getFileName() + "-missing";
        const melnar_code code = melnar_open(name.c_str(), &options, &opened, &m_error);
        if (!m_saved) {
            expect(MELNAR_SYSTEM, code);
            require(opened == nullptr, "after a failure there is no dictionary");
            return;
        }
        expect(MELNAR_OK, code);
        melnar_close(m_dictionary);
        m_dictionary = opened;
        m_model = *m_saved;
        m_maximum = m_savedMaximum;
    }

    /// Passes what no caller may pass.
    void misuse() {
        const melnar_options none{};
        melnar_dictionary* made = m_dictionary;
        uint64_t id = 0;
        const char* const text = nullptr;
        expect(MELNAR_MISUSE, melnar_create(&none, &made, &m_error));
        require(made == nullptr, "after a failure there is no dictionary");
        expect(MELNAR_MISUSE, melnar_encode(nullptr, &text, nullptr, 1, nullptr, &id, &m_error));
        expect(MELNAR_MISUSE, melnar_encode(m_dictionary, &text, nullptr, 1, nullptr, &id, &m_error), 0);
        expect(MELNAR_MISUSE, melnar_decode(m_dictionary, nullptr, 1, nullptr, &m_error));
        expect(MELNAR_MISUSE, melnar_get(m_dictionary, 1, nullptr, &m_error));
        expect(MELNAR_MISUSE, melnar_save(m_dictionary, nullptr, &m_error));
        const std::array<int64_t, 4> offsets{0, 3, 1, 4}; // the second text ends before it starts
        std::array<uint64_t, 3> ids{};
        expect(MELNAR_MISUSE,
               melnar_encode_arrow64(m_dictionary, "abcd", offsets.data(), ids.size(), nullptr, ids.data(), &m_error),
               1);
        require(ids == std::array<uint64_t, 3>{}, "a column that cannot be read has no IDs");
    }

    void checkFigures() {
        uint64_t size = 0;
        uint64_t commitPoint = 0;
        uint64_t bytes = 0;
        expect(MELNAR_OK, melnar_size(m_dictionary, &size, &m_error));
        require(size == m_model.m_literals.size(), "the size is that of the model");
        expect(MELNAR_OK, melnar_get_commit_point(m_dictionary, &commitPoint, &m_error));
        require(commitPoint == m_model.m_commitPoint, "the commit point is that of the model");
        expect(MELNAR_OK, melnar_memory_in_use(m_dictionary, &bytes, &m_error));
        require(bytes != 0 && bytes <= MEMORY_LIMIT, "memory stays within its limit");
    }

    static std::string getFileName() {
        static const TemporaryDirectory directory;
        return directory.getPathOf("dictionary");
    }

    FuzzedDataProvider m_input;
    uint64_t m_maximum = 0;
    uint64_t m_savedMaximum = 0;
    melnar_dictionary* m_dictionary = nullptr;
    melnar_error m_error{};
    DictionaryModel m_model;
    std::optional<DictionaryModel> m_saved;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* const data, const size_t size) { // NOLINT
    Calls(data, size).run();
    return 0;
}
