#pragma once

#include <span>

/// A function that runs when the program exits, and the object that it destroys.
struct ExitRegistration {
    void (*m_function)(void*);
    void* m_object;
};

/// Returns the destructors of static objects in the order of their registration; at exit they run in reverse order.
/// Those of shared libraries are missing. tests/support/SystemCallFaults.cpp records them.
///
/// Threads  While no thread initialises a static object.
std::span<const ExitRegistration> getExitRegistrations();
