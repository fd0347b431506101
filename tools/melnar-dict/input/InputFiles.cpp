#include "tools/melnar-dict/input/InputFiles.h"

#include "tools/melnar-dict/shell/ToolFailure.h"

#include <algorithm>
#include <memory>
#include <optional>

namespace {

constexpr const char* STANDARD_INPUT = "-";
constexpr const char* FORMAT_OF_NAME = "auto";

struct NamedFile {
    std::string m_name;
    std::optional<RdfFormat> m_format; // nothing for that of the name
};

class InputFilesReader {
public:
    InputFilesReader(const std::string& verb, const InputFormats formats) : m_verb(verb), m_formats(formats) {}

    void takeName(const std::string& name) { m_files.push_back({name, m_format}); }

    void takeFormat(const std::string& name) {
        m_format = formatOfName(name);
        if (name != FORMAT_OF_NAME && !isRead(m_format))
            throw ToolFailure(ExitCode::USAGE,
                              "option --format needs " + getFormatNames() + " or auto, not '" + name + "'");
        if (!m_hasFormat)
            for (NamedFile& file : m_files)
                file.m_format = m_format;
        m_hasFormat = true;
    }

    std::string getFormatNames() const {
        return m_formats == InputFormats::ALL ? "ntriples, nquads, turtle, trig" : "ntriples, nquads";
    }

    InputFiles getFiles() const {
        InputFiles files;
        for (const auto& [name, format] : m_files)
            files.emplace_back(name, format ? *format : deduceFormat(name));
        if (std::count_if(files.begin(), files.end(), [](const auto& file) { return file.first == STANDARD_INPUT; }) >
            1)
            throw ToolFailure(ExitCode::USAGE, "standard input can be read only once");
        return files;
    }

private:
    bool isRead(const std::optional<RdfFormat> format) const {
        return format && (m_formats == InputFormats::ALL || isLineFormat(*format));
    }

    RdfFormat deduceFormat(const std::string& fileName) const {
        const std::optional<RdfFormat> format = formatOfFile(fileName);
        if (fileName == STANDARD_INPUT)
            throw ToolFailure(ExitCode::USAGE, "standard input needs --format");
        if (!format)
            throw ToolFailure(ExitCode::USAGE, "the name '" + fileName + "' tells no format; give it with --format");
        if (!isRead(format))
            throw ToolFailure(ExitCode::USAGE,
                              m_verb + " reads N-Triples and N-Quads, and '" + fileName + "' is neither by its name");
        return *format;
    }

    const std::string m_verb;
    const InputFormats m_formats;
    std::optional<RdfFormat> m_format; // for the files to come; nothing for that of their names
    bool m_hasFormat = false;          // whether one was given
    std::vector<NamedFile> m_files;
};

} // namespace

void addInputFiles(VerbDescription& verb, const InputFormats formats, InputFiles& variable) {
    const auto reader = std::make_shared<InputFilesReader>(verb.m_name, formats);
    verb.m_operands.push_back({"FILE", "a file", true, [reader](const std::string& name) { reader->takeName(name); }});
    verb.addOption("--format", "FORMAT",
                   "read the files behind this option, up to the next one, as " + reader->getFormatNames() +
                       " or, with auto, as what their names say; the first one holds for files before it, too",
                   [reader](const std::string& name) { reader->takeFormat(name); });
    verb.m_checks.emplace_back([reader, &variable] { variable = reader->getFiles(); });
}
