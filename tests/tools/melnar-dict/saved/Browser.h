#pragma once

#include "tests/support/TemporaryDirectory.h"
#include "tests/tools/melnar-dict/saved/PngImage.h"

#include <nlohmann/json.hpp>

#include <string>

/// Chromium without display and network, which shows pages in a frame of its window.
///
/// Errors  std::runtime_error if it does not do what is requested.
class Browser : private Unmovable {
public:
    static bool isInstalled();

    /// Lays out a page in a frame of this width, and returns the value of `expression`, in JavaScript, with `frame`,
    /// the frame's window, and `page`, its document.
    nlohmann::json measure(const std::string& page, int width, const std::string& expression) const;

    /// Draws a page in a frame of this width; the upper left corner of the image is that of the frame.
    PngImage draw(const std::string& page, int width, bool isDark) const;

    /// Returns the messages of the last page on the console, such as errors.
    std::string getConsole() const;

private:
    void run(const std::string& frame, const std::string& options) const;

    const TemporaryDirectory m_directory;
};
