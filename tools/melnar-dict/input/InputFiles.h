#pragma once

#include "tools/melnar-dict/input/RdfFormat.h"
#include "tools/melnar-dict/shell/VerbDescription.h"

#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

/// The syntaxes that a verb reads: all, those with one statement per line, or none (files of its own, with any name).
enum class InputFormats { ALL, LINES, NONE };

/// The files that a verb reads, in the order given, "-" being standard input.
using InputFiles = std::vector<std::pair<std::string, RdfFormat>>;

/// Returns the bytes of the files on the disk, or 0 if one of them has no known size, like a pipe.
uint64_t getTotalBytes(const InputFiles& files);

/// Returns whether a statement of one of the files can name a graph.
bool haveGraphs(const InputFiles& files);

/// Adds the operands FILE... and the option --format, which applies to the files after it up to the next one; the first
/// one also applies to files before it.
///
/// `formats` are those that --format offers. If other options determine them, `getFormats` returns them when all
/// options have been read. With NONE, --format is refused, and the format of a file has no meaning.
void addInputFiles(VerbDescription& verb, InputFormats formats, InputFiles& variable,
                   std::function<InputFormats()> getFormats = {});

/// Adds the option --base, which takes only absolute IRIs.
void addBase(VerbDescription& verb, std::string& variable);

/// Adds the option --rdf.
void addVersion(VerbDescription& verb, Rdf::Version& variable);
