#include "tests/torture/Findings.h"

bool Findings::finish(const size_t number, const std::string& what, const std::string& nothing,
                      const std::string& more) {
    const size_t numberOfFindings = m_number.load(std::memory_order_relaxed);
    m_output << withCommas(number) << ' ' << what << ": ";
    if (numberOfFindings == 0 && number != 0)
        m_output << nothing;
    else
        m_output << withCommas(numberOfFindings) << " WRONG";
    m_output << more << '\n' << std::flush;
    return numberOfFindings == 0 && number != 0;
}

std::string withCommas(const size_t number) {
    std::string digits = std::to_string(number);
    for (size_t place = digits.size(); place > 3; place -= 3)
        digits.insert(place - 3, ",");
    return digits;
}

std::string quoteBytes(const std::string& bytes) {
    constexpr const char* DIGITS = "0123456789ABCDEF";
    std::string quoted = "\"";
    bool isAfterNumber = false; // a following letter would be read as another digit
    for (const char byte : bytes) {
        const auto number = static_cast<unsigned char>(byte);
        const bool isPlain = number >= 0x20 && number < 0x7F;
        if (isPlain && isAfterNumber)
            quoted += "\"\"";
        if (isPlain && (byte == '"' || byte == '\\'))
            quoted += '\\';
        if (isPlain)
            quoted += byte;
        else
            quoted.append("\\x") += DIGITS[number >> 4], quoted += DIGITS[number & 0xF];
        isAfterNumber = !isPlain;
    }
    return quoted + '"';
}
