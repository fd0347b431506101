#pragma once

#include <functional>
#include <span>

/// Computes numbers in a child of this process, so that its allocations cannot affect later measurements. Throws
/// std::runtime_error if the child fails. While this process has a single thread.
void computeInChild(std::span<double> numbers, const std::function<void(std::span<double>)>& compute);
