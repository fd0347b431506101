#include "tools/melnar-dict/input/RdfFormat.h"

#include "tools/melnar-dict/input/PackedFormat.h"

#include <algorithm>
#include <string>

namespace {

struct FormatName {
    std::string_view m_name;
    RdfFormat m_format;
    bool m_isExtension;
};

constexpr FormatName FORMAT_NAMES[] = {
    {"nt", RdfFormat::N_TRIPLES, true},         {"nq", RdfFormat::N_QUADS, true},
    {"ttl", RdfFormat::TURTLE, true},           {"trig", RdfFormat::TRIG, true},
    {"ntriples", RdfFormat::N_TRIPLES, false},  {"nquads", RdfFormat::N_QUADS, false},
    {"n-triples", RdfFormat::N_TRIPLES, false}, {"n-quads", RdfFormat::N_QUADS, false},
    {"turtle", RdfFormat::TURTLE, false},
};

std::string toLowerCase(const std::string_view text) {
    std::string result(text);
    std::transform(result.begin(), result.end(), result.begin(), [](const char character) {
        return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a') : character;
    });
    return result;
}

std::optional<RdfFormat> findFormat(const std::string_view name, const bool extensionsOnly) {
    const std::string lowerCaseName = toLowerCase(name);
    for (const FormatName& formatName : FORMAT_NAMES)
        if (formatName.m_name == lowerCaseName && (formatName.m_isExtension || !extensionsOnly))
            return formatName.m_format;
    return std::nullopt;
}

} // namespace

Rdf::ReaderOptions makeReaderOptions(const RdfFormat format, const bool lenient, const size_t maximumLine,
                                     const std::string& base, const Rdf::Version version) {
    Rdf::ReaderOptions options;
    options.m_version = version;
    options.m_syntax = format == RdfFormat::N_TRIPLES ? Rdf::Syntax::N_TRIPLES
                       : format == RdfFormat::N_QUADS ? Rdf::Syntax::N_QUADS
                       : format == RdfFormat::TURTLE  ? Rdf::Syntax::TURTLE
                                                      : Rdf::Syntax::TRIG;
    options.m_isLenient = lenient;
    options.m_maximumLength = maximumLine;
    options.m_base = base;
    return options;
}

std::optional<Rdf::Version> versionOfName(const std::string_view name) {
    if (name == "1.1")
        return Rdf::Version::RDF_1_1;
    return name == "1.2" ? std::optional(Rdf::Version::RDF_1_2) : std::nullopt;
}

std::optional<RdfFormat> formatOfName(const std::string_view name) {
    return findFormat(name, false);
}

std::optional<RdfFormat> formatOfFile(const std::string_view fileName) {
    const std::string_view baseName = withoutPackedExtension(fileName.substr(fileName.find_last_of('/') + 1));
    const size_t dot = baseName.find_last_of('.');
    if (dot == std::string_view::npos)
        return std::nullopt;
    return findFormat(baseName.substr(dot + 1), true);
}
