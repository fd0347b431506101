#include "tests/tools/melnar-dict/saved/Browser.h"

#include <cstdlib>
#include <sstream>
#include <stdexcept>

namespace {

// Higher than any page, so that nothing scrolls.
constexpr const char* FRAME_HEIGHT = "8000";

/// Makes a page with another page in a frame, which the script of the outer page may inspect. A window cannot be as
/// narrow as a phone.
std::string makeFrame(const std::string& page, const int width, const std::string& script) {
    std::string escaped;
    for (const char character : page)
        if (character == '&')
            escaped += "&amp;";
        else if (character == '"')
            escaped += "&quot;";
        else
            escaped += character;
    return "<!DOCTYPE html><meta charset=\"utf-8\"><body style=\"margin:0\"><iframe "
           "style=\"display:block;border:0;width:" +
           std::to_string(width) + "px;height:" + FRAME_HEIGHT + "px\" srcdoc=\"" + escaped + "\"></iframe><script>" +
           script + "</script></body>";
}

} // namespace

bool Browser::isInstalled() {
    return std::system("command -v chromium >/dev/null") == 0;
}

void Browser::run(const std::string& frame, const std::string& options) const {
    const std::string command =
        "timeout 200 chromium --headless --no-sandbox --disable-gpu --disable-dev-shm-usage --hide-scrollbars "
        "--force-color-profile=srgb --enable-logging=stderr --host-resolver-rules='MAP * ~NOTFOUND' --user-data-dir='" +
        m_directory.getPathOf("profile") + "' " + options + " 'file://" + m_directory.addFile("frame.html", frame) +
        "' </dev/null >'" + m_directory.getPathOf("output") + "' 2>'" + m_directory.getPathOf("error") + "'";
    if (std::system(command.c_str()) != 0)
        throw std::runtime_error("Chromium fails: " +
                                 TemporaryDirectory::getContentsOf(m_directory.getPathOf("error")));
}

nlohmann::json Browser::measure(const std::string& page, const int width, const std::string& expression) const {
    // Escaped, so that the printed document needs no parser.
    const std::string script =
        "addEventListener('load', () => { const frame = document.querySelector('iframe').contentWindow; const page = "
        "frame.document; const result = " +
        expression +
        "; document.body.innerHTML = '[result[' + encodeURIComponent(JSON.stringify(result)).replace(/%/g, '\\\\x') + "
        "']result]'; });";
    run(makeFrame(page, width, script), "--dump-dom --window-size=1200,800");
    const std::string output = TemporaryDirectory::getContentsOf(m_directory.getPathOf("output"));
    const std::string begin = "<body style=\"margin:0\">[result[";
    const size_t found = output.find(begin);
    if (found == std::string::npos)
        throw std::runtime_error("Nothing was measured: " + getConsole());
    std::string text;
    for (size_t index = found + begin.size(); output.at(index) != ']'; ++index)
        if (output.substr(index, 2) == "\\x") {
            text += static_cast<char>(std::stoi(output.substr(index + 2, 2), nullptr, 16));
            index += 3;
        } else
            text += output[index];
    return nlohmann::json::parse(text);
}

PngImage Browser::draw(const std::string& page, const int width, const bool isDark) const {
    const std::string path = m_directory.getPathOf("image.png");
    run(makeFrame(page, width, ""), "--blink-settings=preferredColorScheme=" + std::string(isDark ? "0" : "1") +
                                        " --window-size=1200,4000 --screenshot='" + path + "'");
    return PngImage(TemporaryDirectory::getContentsOf(path));
}

std::string Browser::getConsole() const {
    std::istringstream lines(TemporaryDirectory::getContentsOf(m_directory.getPathOf("error")));
    std::string console;
    for (std::string line; std::getline(lines, line);)
        if (line.find("CONSOLE") != std::string::npos)
            console += line + "\n";
    return console;
}
