#include "tools/melnar-dict/rewrite/RewriteOptions.h"

namespace {

constexpr const char* ENCODE_TEXT = R"(
Writes the statements of N-Triples (.nt) and N-Quads (.nq) files, plain or packed, or of folders with such files, with an
IRI such as <melnar:17> in the place of every string literal, 17 being its resource ID. decode does the reverse. OUT
appears when it is complete; "-" is standard input or output. Its first line is a comment that names the dictionary.
Statements are written in canonical form, but for language tags, which stay as the dictionary has them.
)";

constexpr const char* DECODE_TEXT = R"(
Writes the statements of files that encode has written, with the literals in their places again, in canonical form. OUT
appears when it is complete; "-" is standard input or output. A file that names another dictionary is bad data, unless
DICTIONARY has grown from that one by load --into.
)";

constexpr const char* EXIT_CODES = R"(
0 done, 1 bad data or something not found, 2 wrong command line or an OUT that would destroy something, 3 input or
output failed, another process is writing OUT, or a limit was reached. Without 0, no OUT is written.
)";

VerbDescription addOptions(VerbDescription verb, RewriteOptions& options) {
    verb.addFile("-d,--dictionary", "DICTIONARY", "the dictionary with the literals", options.m_dictionaryName);
    addOutput(verb, OutputKind::FILE_OR_STANDARD_OUTPUT, "OUT",
              "the file to write; one that exists is replaced, unless it is an input or a dictionary",
              "replace OUT even if it is a dictionary, unless it is DICTIONARY", options.m_output);
    addInputFiles(verb, InputFormats::LINES, options.m_files);
    addThreads(verb, options.m_numberOfThreads);
    addMemoryLimit(verb, options.m_memoryLimit);
    addMaximumLine(verb, options.m_maximumLine);
    addVersion(verb, options.m_version);
    addFeedback(verb, options.m_feedback);
    verb.requireOption("--dictionary");
    verb.requireOption("--output");
    return verb;
}

} // namespace

VerbDescription describeEncode(RewriteOptions& options) {
    return addOptions(
        {"encode",
         "put resource IDs in the place of literals",
         ENCODE_TEXT,
         EXIT_CODES,
         {{"encode dump.nt.gz -d dump.dict -o encoded.nt", "Writes the statements with IDs for literals."}}},
        options);
}

VerbDescription describeDecode(RewriteOptions& options) {
    return addOptions({"decode",
                       "put the literals back",
                       DECODE_TEXT,
                       EXIT_CODES,
                       {{"decode encoded.nt -d dump.dict -o - | gzip > dump.nt.gz",
                         "Writes the statements with their literals, and packs them."}}},
                      options);
}
