#pragma once

#include "tools/melnar-dict/input/RdfFormat.h"
#include "tools/melnar-dict/shell/VerbDescription.h"

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

/// Which syntaxes a verb reads: all, or those with a statement a line.
enum class InputFormats { ALL, LINES };

/// The files that a verb reads, in the order given, "-" being standard input.
using InputFiles = std::vector<std::pair<std::string, RdfFormat>>;

/// Returns the bytes that the files have on the disk, or 0 if one of them does not tell, like a pipe.
uint64_t getTotalBytes(const InputFiles& files);

/// Whether a statement of one of the files can name a graph.
bool haveGraphs(const InputFiles& files);

/// Adds the operands FILE... and the option --format, which holds for the files behind it up to the next one; the first
/// one holds for those before it, too.
void addInputFiles(VerbDescription& verb, InputFormats formats, InputFiles& variable);

/// Adds the option --base, which takes absolute IRIs alone.
void addBase(VerbDescription& verb, std::string& variable);

/// Adds the option --rdf.
void addVersion(VerbDescription& verb, Rdf::Version& variable);
