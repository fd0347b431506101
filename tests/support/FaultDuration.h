#pragma once

/// Whether one call or allocation is made to fail, or it and all later ones.
enum class FaultDuration { ONCE, FOR_GOOD };
