#pragma once

#include <cstddef>
#include <ostream>
#include <string>

/// Counts attempts, and prints faults: the first few findings, and the number of all.
class Findings {
public:
    explicit Findings(std::ostream& output) : m_output(output) {}

    void add(const std::string& finding) {
        if (++m_number <= SHOWN)
            m_output << "WRONG: " << finding << '\n' << std::flush;
    }

    /// Prints the last line, such as "148,500 snippets: no disagreement". Returns whether nothing was found.
    bool finish(size_t number, const std::string& what, const std::string& nothing, const std::string& more = "");

private:
    static constexpr size_t SHOWN = 20;

    std::ostream& m_output;
    size_t m_number = 0;
};

/// Returns a number with commas between groups of three digits.
std::string withCommas(size_t number);

/// Returns bytes in a form that can be read and pasted into a test: "a\x0A\xFF".
std::string quoteBytes(const std::string& bytes);
