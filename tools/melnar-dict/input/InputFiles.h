#pragma once

#include "tools/melnar-dict/input/RdfFormat.h"
#include "tools/melnar-dict/shell/VerbDescription.h"

#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

/// Which syntaxes a verb reads: all, those with a statement a line, or none, but files of its own, by any name.
enum class InputFormats { ALL, LINES, NONE };

/// The files that a verb reads, in the order given, "-" being standard input.
using InputFiles = std::vector<std::pair<std::string, RdfFormat>>;

/// Returns the bytes that the files have on the disk, or 0 if one of them does not tell, like a pipe.
uint64_t getTotalBytes(const InputFiles& files);

/// Whether a statement of one of the files can name a graph.
bool haveGraphs(const InputFiles& files);

/// Adds the operands FILE... and the option --format, which holds for the files behind it up to the next one; the first
/// one holds for those before it, too.
///
/// `formats` are those that --format offers. If other options decide what is read, `getFormats` says it when all of them
/// have been taken. With NONE, --format is refused, and the format of a file means nothing.
void addInputFiles(VerbDescription& verb, InputFormats formats, InputFiles& variable,
                   std::function<InputFormats()> getFormats = {});

/// Adds the option --base, which takes absolute IRIs alone.
void addBase(VerbDescription& verb, std::string& variable);

/// Adds the option --rdf.
void addVersion(VerbDescription& verb, Rdf::Version& variable);
