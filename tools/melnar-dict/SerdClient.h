#pragma once

#include <cstddef>
#include <string>

#include <serd/serd.h>

/// A statement as serd reads it. The nodes live until the call that they are passed to ends. In statements that were
/// not read by serd their texts are not zero-terminated and their characters not counted.
struct SerdStatement {
    const SerdNode* m_graph; // null in the default graph
    const SerdNode* m_subject;
    const SerdNode* m_predicate;
    const SerdNode* m_object;
    const SerdNode* m_datatype; // null unless the object is a typed literal
    const SerdNode* m_language; // null unless the object is a tagged literal
};

/// What serd calls while it runs. Exceptions end the run and come out of it.
class SerdClient {
public:
    virtual ~SerdClient() = default;

    /// Fills the buffer with the next bytes of the text; delivers fewer than `size` only at the end.
    virtual size_t provideText(char* buffer, size_t size) = 0;

    /// Takes a statement; null, or why it is refused, which ends the run.
    virtual const char* takeStatement(const SerdStatement& statement) = 0;

    /// Takes a change of the base IRI.
    virtual const char* takeBase(const SerdNode& iri) = 0;

    /// Takes a prefix.
    virtual const char* takePrefix(const SerdNode& name, const SerdNode& iri) = 0;
};
