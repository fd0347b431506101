#pragma once

#include "Engine/core/platform/Export.h"
#include "Engine/core/platform/stream/InputStream.h"

#include <string>

/// A source of untrusted bytes: they may be damaged, or forged with correct checksums. Its reader checks every number
/// before it is used, and reports its findings to the stream, which adds the place.
///
/// Threads  One thread at a time.
/// Errors   Every operation may throw the implementation's own failures. After one, the stream is unusable.
class MELNAR_EXPORT UntrustedInputStream : public InputStream {
public:
    /// Throws MelnarException that names the stream, the place in it and `finding`, a sentence.
    [[noreturn]] virtual void reportDamage(const std::string& finding) const = 0;
};
