#include "tools/melnar-dict/input/InputFiles.h"

#include "tools/melnar-dict/input/InputNames.h"
#include "tools/melnar-dict/shell/StandardStream.h"
#include "tools/melnar-dict/shell/ToolFailure.h"

#include "Reader/Iri.h"
#include "Reader/Utf8.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <string_view>

#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr const char* FORMAT_OF_NAME = "auto";

class InputFilesReader {
public:
    InputFilesReader(const std::string& verb, const InputFormats formats) : m_verb(verb), m_formats(formats) {}

    void takeName(const std::string& name) { m_files.emplace_back(name, m_format); }

    void takeFormat(const std::string& name) {
        m_format = formatOfName(name);
        if (name != FORMAT_OF_NAME && !isOneOf(m_formats, m_format))
            throw ToolFailure(ExitCode::USAGE,
                              "option --format needs " + listFormats() + " or auto, not '" + name + "'");
        if (!m_hasFormat)
            for (auto& [fileName, format] : m_files)
                format = m_format;
        m_hasFormat = true;
    }

    std::vector<std::string> getFormatNames() const {
        std::vector<std::string> names{"ntriples", "nquads"};
        if (m_formats == InputFormats::ALL)
            names.insert(names.end(), {"turtle", "trig"});
        return names;
    }

    /// Returns the same with commas between them.
    std::string listFormats() const {
        std::string list;
        for (const std::string& name : getFormatNames())
            list += (list.empty() ? "" : ", ") + name;
        return list;
    }

    InputFiles getFiles(const InputFormats formats) const {
        const auto isStandardInput = [](const auto& file) { return file.first == STANDARD_STREAM; };
        if (std::count_if(m_files.begin(), m_files.end(), isStandardInput) > 1)
            throw ToolFailure(ExitCode::USAGE, "standard input can be read only once");
        if (formats == InputFormats::NONE)
            return getNames();
        InputFiles files = expandInputNames(m_files);
        for (const auto& [fileName, format] : files)
            if (!isOneOf(formats, format))
                throw ToolFailure(ExitCode::USAGE, "with these options " + m_verb +
                                                       " reads N-Triples and N-Quads, and '" + fileName +
                                                       "' is neither");
        return files;
    }

private:
    static bool isOneOf(const InputFormats formats, const std::optional<RdfFormat> format) {
        return format && (formats == InputFormats::ALL || isLineFormat(*format));
    }

    InputFiles getNames() const {
        if (m_hasFormat)
            throw ToolFailure(ExitCode::USAGE, "with these options " + m_verb + " reads no RDF and takes no --format");
        InputFiles files;
        for (const auto& [fileName, format] : m_files)
            files.emplace_back(fileName, RdfFormat());
        return files;
    }

    const std::string m_verb;
    const InputFormats m_formats;
    std::optional<RdfFormat> m_format; // for the following files; empty for the formats of their names
    bool m_hasFormat = false;          // whether one was given
    std::vector<std::pair<std::string, std::optional<RdfFormat>>> m_files; // empty for the format of the name
};

/// Returns whether the IRI is valid between angle brackets in Turtle, without escapes, and needs no base.
bool isWrittenAbsoluteIri(const std::string& text) {
    const std::string iri = '<' + text + '>';
    const char* const end = iri.data() + iri.size();
    if (Rdf::Utf8::findInvalid(iri.data(), end) != end)
        return false;
    Rdf::TextWindow window(Rdf::Version::RDF_1_2);
    window.open(end, Rdf::TextWindow::Beyond::NOTHING);
    std::string_view read;
    return Rdf::readIriReference(window, iri.data(), read) == end && read == text && Rdf::isAbsoluteIri(read);
}

/// Returns the bytes of a file that are not read yet; nothing if that is not known.
std::optional<uint64_t> getBytes(const std::string& fileName) {
    struct stat status;
    const bool isStandardInput = fileName == STANDARD_STREAM;
    if ((isStandardInput ? ::fstat(STDIN_FILENO, &status) : ::stat(fileName.c_str(), &status)) != 0 ||
        !S_ISREG(status.st_mode))
        return std::nullopt;
    const off_t begin = isStandardInput ? ::lseek(STDIN_FILENO, 0, SEEK_CUR) : 0;
    if (begin < 0)
        return std::nullopt;
    return begin < status.st_size ? static_cast<uint64_t>(status.st_size - begin) : 0;
}

} // namespace

uint64_t getTotalBytes(const InputFiles& files) {
    uint64_t total = 0;
    for (const auto& [fileName, format] : files) {
        const std::optional<uint64_t> bytes = getBytes(fileName);
        if (!bytes)
            return 0;
        total += *bytes;
    }
    return total;
}

bool haveGraphs(const InputFiles& files) {
    return std::any_of(files.begin(), files.end(), [](const auto& file) { return hasGraphs(file.second); });
}

void addInputFiles(VerbDescription& verb, const InputFormats formats, InputFiles& variable,
                   std::function<InputFormats()> getFormats) {
    const auto reader = std::make_shared<InputFilesReader>(verb.m_name, formats);
    verb.m_operands.push_back(
        {"FILE", "a file", true, [reader](const std::string& name) { reader->takeName(name); }, true});
    verb.addOption("--format", "FORMAT",
                   "read the files after this option, up to the next one, as " + reader->listFormats() +
                       " or, with auto, as their names say; the first one also applies to files before it",
                   [reader](const std::string& name) { reader->takeFormat(name); });
    verb.m_options.back().m_choices = reader->getFormatNames();
    verb.m_options.back().m_choices.emplace_back(FORMAT_OF_NAME);
    verb.m_checks.emplace_back([reader, formats, getFormats = std::move(getFormats), &variable] {
        variable = reader->getFiles(getFormats ? getFormats() : formats);
    });
}

void addBase(VerbDescription& verb, std::string& variable) {
    verb.addOption("--base", "IRI", "the IRI that relative IRIs are relative to, until the file sets another base",
                   [&variable](const std::string& value) {
                       if (!isWrittenAbsoluteIri(value))
                           throw ToolFailure(ExitCode::USAGE,
                                             "option --base needs an absolute IRI, such as http://example.org/, not '" +
                                                 value + "'");
                       variable = value;
                   });
}

void addVersion(VerbDescription& verb, Rdf::Version& variable) {
    verb.addOption("--rdf", "VERSION", "read files according to RDF 1.1 or 1.2 (default: 1.2)",
                   [&variable](const std::string& name) {
                       const std::optional<Rdf::Version> version = versionOfName(name);
                       if (!version)
                           throw ToolFailure(ExitCode::USAGE, "option --rdf needs 1.1 or 1.2, not '" + name + "'");
                       variable = *version;
                   });
}
