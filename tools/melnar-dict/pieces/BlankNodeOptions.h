#pragma once

#include "tools/melnar-dict/input/InputFiles.h"
#include "tools/melnar-dict/pieces/BlankNodeScope.h"
#include "tools/melnar-dict/shell/VerbDescription.h"

#include <cstddef>
#include <cstdint>

/// To which documents the labels of blank nodes belong: --blank-nodes and --document.
struct BlankNodeOptions {
    BlankNodeScope::Mode m_mode = BlankNodeScope::Mode::DOCUMENTS;
    uint64_t m_firstDocument = 1; // that of the first file

    /// Returns the document number of the file with this index, counted from 0.
    uint64_t getDocument(const size_t fileIndex) const noexcept {
        return m_mode == BlankNodeScope::Mode::SHARED ? 1 : m_firstDocument + fileIndex;
    }
};

/// Adds --blank-nodes, for a verb that reads these files. Called after addInputFiles, which fills them before they are
/// checked. Labels of Turtle and TriG cannot be shared: nodes without a label get one from the reader, and those of two
/// files would be the same.
void addBlankNodes(VerbDescription& verb, const InputFiles& files, BlankNodeOptions& variable);

/// Adds --document, which is not allowed if labels are shared.
void addDocument(VerbDescription& verb, BlankNodeOptions& variable);
