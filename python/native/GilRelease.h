#pragma once

#include "Engine/core/platform/Unmovable.h"

#include <Python.h>

#include <unistd.h>

/// Lets other threads run Python while this object exists.
class GilRelease : private Unmovable {
public:
    GilRelease() noexcept : m_state(PyEval_SaveThread()) {}

    /// After the interpreter has ended, PyEval_RestoreThread ends the calling thread by unwinding its stack, which must
    /// not destroy Python objects without the GIL. So a daemon thread waits for the end of the process instead.
    ~GilRelease() {
        try {
            PyEval_RestoreThread(m_state);
        } catch (...) {
            for (;;)
                ::pause();
        }
    }

private:
    PyThreadState* const m_state;
};
