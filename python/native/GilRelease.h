#pragma once

#include "Engine/core/platform/Unmovable.h"

#include <Python.h>

/// Lets other threads run Python while it lives.
class GilRelease : private Unmovable {
public:
    GilRelease() noexcept : m_state(PyEval_SaveThread()) {}
    ~GilRelease() { PyEval_RestoreThread(m_state); }

private:
    PyThreadState* const m_state;
};
