#pragma once

#include "tools/melnar-dict/input/InputFiles.h"
#include "tools/melnar-dict/pieces/BlankNodeOptions.h"
#include "tools/melnar-dict/rows/RowOptions.h"
#include "tools/melnar-dict/shell/DefaultNumberOfThreads.h"
#include "tools/melnar-dict/shell/MemoryLimit.h"
#include "tools/melnar-dict/shell/SharedOptions.h"

#include <cstddef>
#include <cstdint>
#include <string>

/// The forms of encoded statements: rows of IDs in NumPy's format, or statements with IRIs for string literals.
enum class EncodedForm { ROWS, IRIS };

/// The options of `encode` or `decode`.
struct RewriteOptions {
    InputFiles m_files; // for rows, the format has no meaning
    EncodedForm m_form = EncodedForm::ROWS;
    std::string m_dictionaryName;
    FeedbackOptions m_feedback;
    OutputOptions m_output; // the name is "-" for standard output
    size_t m_numberOfThreads = getDefaultNumberOfThreads();
    uint64_t m_memoryLimit = MemoryLimit::getDefault();
    uint64_t m_maximumLine = DEFAULT_MAXIMUM_LINE;
    Rdf::Version m_version = Rdf::Version::RDF_1_2;

    // Of encode, for rows:
    BlankNodeOptions m_blankNodes;
    std::string m_base{};
    RowOptions m_rows{};
};

/// The command lines of `encode` and `decode`, bound to the options.
VerbDescription describeEncode(RewriteOptions& options);
VerbDescription describeDecode(RewriteOptions& options);
