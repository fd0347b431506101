#pragma once

#include "tests/support/TemporaryDirectory.h"
#include "tests/tools/melnar-dict/saved/PngImage.h"

#include <nlohmann/json.hpp>

#include <string>

/// Chromium without display and network, which looks at pages in a frame of its window.
///
/// Errors  std::runtime_error when it does not do what it is asked for.
class Browser : private Unmovable {
public:
    static bool isInstalled();

    /// Lays a page out in a frame so wide, and returns what `expression`, in JavaScript, says of `frame`, the frame's
    /// window, and `page`, its document.
    nlohmann::json measure(const std::string& page, int width, const std::string& expression) const;

    /// Draws a page in a frame so wide; the upper left corner of the image is the frame's.
    PngImage draw(const std::string& page, int width, bool isDark) const;

    /// The messages of the last page on the console, such as errors.
    std::string getConsole() const;

private:
    void run(const std::string& frame, const std::string& options) const;

    const TemporaryDirectory m_directory;
};
