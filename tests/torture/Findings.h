#pragma once

#include <atomic>
#include <cstddef>
#include <mutex>
#include <ostream>
#include <string>

/// Counts attempts, and prints faults: the first few findings, and the number of all.
///
/// Threads  add and isEnough: any threads concurrently, each line whole.
class Findings {
public:
    explicit Findings(std::ostream& output) : m_output(output) {}

    void add(const std::string& finding) {
        const std::lock_guard lock(m_mutex);
        if (m_number.fetch_add(1, std::memory_order_relaxed) < SHOWN)
            m_output << "WRONG: " << finding << '\n' << std::flush;
    }

    /// Returns whether further findings would not be shown.
    [[nodiscard]] bool isEnough() const noexcept { return m_number.load(std::memory_order_relaxed) >= SHOWN; }

    /// Prints the last line, such as "148,500 snippets: no disagreement". Returns whether nothing was found.
    bool finish(size_t number, const std::string& what, const std::string& nothing, const std::string& more = "");

private:
    static constexpr size_t SHOWN = 20;

    std::mutex m_mutex; // protects the output
    std::ostream& m_output;
    std::atomic<size_t> m_number{0}; // relaxed, so that asking for it orders no threads
};

/// Returns a number with commas between groups of three digits.
std::string withCommas(size_t number);

/// Returns bytes in a form that can be read and pasted into a test: "a\x0A\xFF".
std::string quoteBytes(const std::string& bytes);
