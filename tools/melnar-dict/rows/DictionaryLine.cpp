#include "tools/melnar-dict/rows/DictionaryLine.h"

#include "Engine/core/data-store/DictionaryHistory.h"

#include <algorithm>
#include <utility>

namespace {

/// Includes the end of the line before it.
constexpr std::string_view BEGINNING = "\n# melnar-dict: encoded with ";
constexpr std::string_view FIRST_BEGINNING = BEGINNING.substr(1);
constexpr std::string_view DICTIONARY = "dictionary ";
constexpr std::string_view GENERATION = ", generation ";
constexpr std::string_view DECIMAL_DIGITS = "0123456789";

std::string describe(const DictionaryHistory& history) {
    return std::string(DICTIONARY) + history.getIdentity().value().toString() + std::string(GENERATION) +
           std::to_string(history.getGeneration());
}

/// Returns the identity in a description, or nothing if it is not complete.
std::optional<DictionaryIdentity> parse(const std::string_view description) {
    const size_t generation = description.find(GENERATION);
    if (!description.starts_with(DICTIONARY) || generation == std::string_view::npos)
        return std::nullopt;
    const std::string_view digits = description.substr(generation + GENERATION.size());
    if (digits.empty() || digits.find_first_not_of(DECIMAL_DIGITS) != std::string_view::npos)
        return std::nullopt;
    return DictionaryIdentity::parse(description.substr(DICTIONARY.size(), generation - DICTIONARY.size()));
}

/// Returns why the dictionary refuses a line with this description; empty if it does not.
std::string findCause(const std::string_view description, const DictionaryHistory& history) {
    const std::optional<DictionaryIdentity> identity = parse(description);
    if (!identity)
        return "the comment that names the dictionary is damaged";
    if (history.contains(*identity))
        return {};
    return "encoded with " + std::string(description) + "; the given one is " +
           (history.getIdentity() ? describe(history) : "not complete") + ", and has not grown from it";
}

} // namespace

std::string DictionaryLine::make(const DictionaryHistory& history) {
    return std::string(FIRST_BEGINNING) + describe(history) + '\n';
}

std::optional<DictionaryLine::Refusal> DictionaryLine::findRefused(const std::string_view text,
                                                                   const DictionaryHistory& history) {
    size_t begin = text.starts_with(FIRST_BEGINNING) ? 0 : text.find(BEGINNING);
    while (begin != std::string_view::npos) {
        begin = text.find('#', begin);
        const size_t descriptionBegin = begin + FIRST_BEGINNING.size();
        const size_t end = std::min(text.find_first_of("\r\n", descriptionBegin), text.size());
        std::string cause = findCause(text.substr(descriptionBegin, end - descriptionBegin), history);
        if (!cause.empty())
            return Refusal{static_cast<uint64_t>(std::count(text.data(), text.data() + begin, '\n')) + 1,
                           std::move(cause)};
        begin = text.find(BEGINNING, end);
    }
    return std::nullopt;
}
