#pragma once

#include "Engine/core/platform/Unmovable.h"

#include <Python.h>

#include <unistd.h>

/// Lets other threads run Python while it lives.
class GilRelease : private Unmovable {
public:
    GilRelease() noexcept : m_state(PyEval_SaveThread()) {}

    /// Once the interpreter ends, PyEval_RestoreThread ends the calling thread by an unwinding that no object of Python
    /// may take part in without the GIL. A daemon thread waits for the end of the process instead.
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
