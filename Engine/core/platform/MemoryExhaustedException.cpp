#include "Engine/core/platform/MemoryExhaustedException.h"

MemoryExhaustedException::~MemoryExhaustedException() = default;
