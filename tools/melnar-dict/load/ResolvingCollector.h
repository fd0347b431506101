#pragma once

#include "tools/melnar-dict/load/BatchResolver.h"
#include "tools/melnar-dict/pieces/LiteralCollector.h"

#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/data-store/DictionaryThread.h"

/// Collects the string literals of blocks, and resolves them, also if an error has ended their block.
class ResolvingCollector final : public LiteralCollector {
public:
    ResolvingCollector(Dictionary& dictionary, const bool lenient)
        : m_dictionary(dictionary), m_thread(dictionary), m_isLenient(lenient) {}

    void endBlock(ParsedPiece& piece) override { resolveBatch(m_dictionary, m_thread, m_isLenient, piece); }

private:
    Dictionary& m_dictionary;
    DictionaryThread m_thread;
    const bool m_isLenient;
};
