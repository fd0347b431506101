#include "tools/melnar-dict/shell/ArgumentReader.h"

#include "tools/melnar-dict/shell/ToolFailure.h"

#include <charconv>
#include <limits>
#include <utility>

namespace {

std::optional<uint64_t> parseNumber(const std::string_view text) {
    uint64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size())
        return std::nullopt;
    return number;
}

unsigned shiftOfUnit(const char unit) {
    switch (unit) {
    case 'K':
    case 'k':
        return 10;
    case 'M':
    case 'm':
        return 20;
    case 'G':
    case 'g':
        return 30;
    case 'T':
    case 't':
        return 40;
    default:
        return 0;
    }
}

} // namespace

bool ArgumentReader::next() {
    if (m_attachedValue)
        throw ToolFailure(ExitCode::USAGE, "option " + m_argument + " takes no value");
    if (m_nextIndex < m_arguments.size() && !m_onlyOperands && m_arguments[m_nextIndex] == "--") {
        m_onlyOperands = true;
        ++m_nextIndex;
    }
    if (m_nextIndex == m_arguments.size())
        return false;
    m_argument = m_arguments[m_nextIndex++];
    m_isOption = !m_onlyOperands && m_argument.size() > 1 && m_argument[0] == '-';
    const size_t equalsSign = m_argument.find('=');
    if (m_isOption && equalsSign != std::string::npos) {
        m_attachedValue = m_argument.substr(equalsSign + 1);
        m_argument.resize(equalsSign);
    }
    return true;
}

std::string ArgumentReader::takeValue() {
    if (m_attachedValue)
        return *std::exchange(m_attachedValue, std::nullopt);
    if (m_nextIndex == m_arguments.size())
        throw ToolFailure(ExitCode::USAGE, "option " + m_argument + " needs a value");
    return m_arguments[m_nextIndex++];
}

uint64_t ArgumentReader::takeNumber(const uint64_t minimum, const uint64_t maximum) {
    const std::string value = takeValue();
    const std::optional<uint64_t> number = parseNumber(value);
    if (!number || *number < minimum || *number > maximum)
        refuseValue(value, "a number from " + std::to_string(minimum) + " to " + std::to_string(maximum));
    return *number;
}

uint64_t ArgumentReader::takeNumberOfBytes() {
    const std::string value = takeValue();
    std::string_view digits = value;
    const unsigned shift = digits.empty() ? 0 : shiftOfUnit(digits.back());
    if (shift != 0)
        digits.remove_suffix(1);
    const std::optional<uint64_t> number = parseNumber(digits);
    if (!number || *number == 0 || *number > (std::numeric_limits<uint64_t>::max() >> shift))
        refuseValue(value, "a number of bytes, such as 4096, 512M or 16G");
    return *number << shift;
}

void ArgumentReader::refuse() const {
    throw ToolFailure(ExitCode::USAGE, (m_isOption ? "unknown option " : "unexpected argument ") + m_argument);
}

void ArgumentReader::refuseValue(const std::string_view value, const std::string& expected) const {
    throw ToolFailure(ExitCode::USAGE,
                      "option " + m_argument + " needs " + expected + ", not '" + std::string(value) + "'");
}
