#include "tools/melnar-dict-mpi/RankEncodeOptions.h"

#include "tools/melnar-dict-mpi/RankInputs.h"

#include "tools/melnar-dict/shell/SharedOptions.h"

namespace {

constexpr const char* TEXT = R"(
Writes a row of IDs for each statement of RDF files with all processes that mpirun starts, the ranks: the IDs of subject,
predicate and object, and in files of quads that of the graph, or 0. The dictionary is a folder of shards; each rank keeps
the shards with its number modulo the number of ranks in memory. OUT is the same NumPy array (.npy) that melnar-dict encode
writes, on a file system that all ranks share; it appears only when it is complete. A term that the dictionary does not have
is bad data. Ranks read files and share memory as for load.
)";

constexpr const char* EXIT_CODES = R"(
0 done, 1 bad data or something not found, 2 wrong command line or an OUT that would destroy something, 3 input or output
failed, another process is writing OUT, or a limit was reached. Without 0, no OUT is written.
)";

} // namespace

VerbDescription describeRankEncode(RankEncodeOptions& options) {
    RewriteOptions& encode = options.m_encode;
    encode.m_numberOfThreads = 1;
    encode.m_memoryLimit = 0; // 0 stands for the rank's share
    VerbDescription verb{"encode",
                         "write statements as rows of resource IDs with several processes",
                         TEXT,
                         EXIT_CODES,
                         {{"encode dump.nt -d dump.dict -o dump.npy",
                           "Run by mpirun -n 4: four processes write a row of three IDs for each statement."}}};
    verb.addFile("-d,--dictionary", "DICTIONARY", "the folder of the dictionary with the terms",
                 encode.m_dictionaryName);
    addOutput(verb, OutputKind::FILE_ONLY, "OUT",
              "the file to write; an existing file is replaced, unless it is an input or a dictionary",
              "replace OUT even if it is a dictionary, unless it is DICTIONARY", encode.m_output);
    addRowOptions(verb, encode.m_rows);
    addInputFiles(verb, InputFormats::ALL, encode.m_files);
    addInputsOfRank(verb, options.m_areInputsOfRanks);
    addBlankNodes(verb, encode.m_files, encode.m_blankNodes);
    addDocument(verb, encode.m_blankNodes);
    addFeedback(verb, encode.m_feedback);
    addBase(verb, encode.m_base);
    addVersion(verb, encode.m_version);
    addMemoryLimit(verb, encode.m_memoryLimit);
    addMaximumLine(verb, encode.m_maximumLine);
    verb.requireOption("--dictionary");
    verb.requireOption("--output");
    return verb;
}
