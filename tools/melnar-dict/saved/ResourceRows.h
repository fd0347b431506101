#pragma once

#include "tools/melnar-dict/shell/Json.h"
#include "tools/melnar-dict/shell/StandardOutput.h"

#include "Engine/core/data-store/dictionary/BatchEntry.h"
#include "Engine/core/platform/Unmovable.h"

#include <cstdint>
#include <memory>
#include <ostream>
#include <string>

/// Prints resources, one per row: ID, tab and term in Turtle syntax, or a JSON object with "id" and the keys of
/// TermJson, where unknown ones are null. No row is stored.
///
/// Ownership  Refers to the outputs, which must outlive it.
/// Threads    One at a time.
/// Errors     Those of StandardOutput.
class ResourceRows : private Unmovable {
public:
    ResourceRows(bool asJson, StandardOutput& output, std::ostream& errorOutput);
    ~ResourceRows();

    /// Prints a resource with its ID and its term, whose lexical form must be whole. Returns false if no RDF syntax can
    /// represent the term: then the error output gets a message instead.
    bool print(const BatchEntry& resource);

    /// Prints that there is no resource with the ID, or no ID for the term.
    void printMissingResource(uint64_t resourceID);
    void printMissingTerm(const BatchEntry& term);

private:
    void setTerm(const BatchEntry& term);
    void printJson();

    StandardOutput& m_output;
    std::ostream& m_errorOutput;
    const std::unique_ptr<Json> m_json; // the row, whose memory is reused; null if rows are text
    std::string m_text;
};
