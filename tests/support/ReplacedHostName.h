#pragma once

#include "Engine/core/platform/Unmovable.h"

#include <string>

/// Gives the host another name while it exists, for calls of gethostname that are not in shared libraries;
/// tests/support/SystemCallFaults.cpp replaces them.
///
/// Threads  Made and destroyed while no other thread makes such calls.
/// Limits   At most one at a time.
class ReplacedHostName : private Unmovable {
public:
    explicit ReplacedHostName(std::string name);
    ~ReplacedHostName();

private:
    const std::string m_name;
};
