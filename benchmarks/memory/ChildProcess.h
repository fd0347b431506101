#pragma once

#include <functional>
#include <span>

/// Lets a child of this process compute numbers: what it allocates cannot disturb what is measured after it. Throws
/// std::runtime_error when the child fails. While this process has a single thread.
void computeInChild(std::span<double> numbers, const std::function<void(std::span<double>)>& compute);
