#include "benchmarks/data/LiteralFile.h"

#include <fstream>
#include <stdexcept>
#include <string_view>
#include <unordered_set>

namespace {

std::string_view findText(const std::string_view line) {
    if (!line.ends_with('.') || !(line.starts_with('<') || line.starts_with("_:")))
        return line;
    const size_t firstQuote = line.find('"');
    const size_t lastQuote = line.rfind('"');
    return firstQuote == lastQuote ? std::string_view() : line.substr(firstQuote + 1, lastQuote - firstQuote - 1);
}

} // namespace

TextList readLiterals(const std::string& fileName) {
    std::ifstream file(fileName, std::ios::binary);
    std::unordered_set<std::string> distinctTexts;
    TextList texts;
    for (std::string line; std::getline(file, line);) {
        const std::string_view text = findText(line);
        if (!text.empty() && distinctTexts.emplace(text).second)
            texts.append(text);
    }
    if (!file.eof() || texts.getSize() == 0)
        throw std::runtime_error("No strings can be read from '" + fileName + "'.");
    return texts;
}
