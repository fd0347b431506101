#pragma once

#include "tools/melnar-dict/shell/Json.h"
#include "tools/melnar-dict/shell/Progress.h"
#include "tools/melnar-dict/shell/VerbDescription.h"

#include <ostream>

/// Options that several verbs have, with the same names and meanings.

/// --memory-limit
void addMemoryLimit(VerbDescription& verb, uint64_t& variable);

/// --threads
void addThreads(VerbDescription& verb, size_t& variable);

/// --max-line
void addMaximumLine(VerbDescription& verb, uint64_t& variable);

/// --lenient
void addLenient(VerbDescription& verb, bool& variable);

/// --json: one document, or one object per line for verbs that print rows.
void addJson(VerbDescription& verb, JsonLayout layout, bool& variable);

struct OutputOptions;

/// The output of a verb on standard error during its work: --quiet and --progress.
struct FeedbackOptions {
    bool m_isQuiet = false;
    bool m_asksForProgress = false;

    ProgressMode getProgressMode() const { return chooseProgressMode(m_isQuiet, m_asksForProgress); }

    /// The same for a verb that writes this output. Data on standard output may be on the same terminal as the line.
    ProgressMode getProgressMode(const OutputOptions& output) const;

    /// Returns the stream for messages that do not end the work: one that discards them with --quiet.
    std::ostream& getNoteOutput(std::ostream& errorOutput) const;
};

void addFeedback(VerbDescription& verb, FeedbackOptions& variable);

/// A file that the verb writes: -o, --output, --wait and --force.
struct OutputOptions {
    std::string m_outputName;
    bool m_waits = false;    // for another process that writes the output
    bool m_isForced = false; // replaces files that would be refused otherwise
};

/// Whether "-" may be the output and is standard output.
enum class OutputKind { FILE_ONLY, FILE_OR_STANDARD_OUTPUT };

void addOutput(VerbDescription& verb, OutputKind kind, const std::string& valueName, const std::string& outputText,
               const std::string& forceText, OutputOptions& variable);

/// Does the same with another option's names instead of -o and --output.
void addOutput(VerbDescription& verb, const std::string& names, OutputKind kind, const std::string& valueName,
               const std::string& outputText, const std::string& forceText, OutputOptions& variable);
