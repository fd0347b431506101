#pragma once

#include "tools/melnar-dict/shell/Json.h"
#include "tools/melnar-dict/shell/StandardOutput.h"

#include "Engine/core/data-store/dictionary/BatchEntry.h"
#include "Engine/core/platform/Unmovable.h"

#include <cstdint>
#include <memory>
#include <string>

class Dictionary;

/// Prints resources, a row each: ID, tab and literal in Turtle syntax, or a JSON object with "id", "literal", "text" and
/// "language", where null is what is not known. Nothing of a row is kept.
///
/// Ownership  Refers to dictionary and output, which must outlive it.
/// Threads    One at a time.
/// Errors     Those of StandardOutput.
class ResourceRows : private Unmovable {
public:
    ResourceRows(const Dictionary& dictionary, bool asJson, StandardOutput& output);
    ~ResourceRows();

    /// Prints a resource with its ID and its literal.
    void print(const BatchEntry& resource);

    /// Prints that there is no resource with the ID, or no ID for the literal.
    void printMissingResource(uint64_t resourceID);
    void printMissingLiteral(const BatchEntry& literal);

private:
    void setLiteral(const BatchEntry& literal);
    void printJson();

    const Dictionary& m_dictionary;
    StandardOutput& m_output;
    const std::unique_ptr<Json> m_json; // the row, whose memory is used again; null when rows are text
    std::string m_text;
};
