#pragma once

/// The base of classes whose objects must not move: other objects and threads hold their addresses.
class Unmovable {
public:
    Unmovable() = default;
    Unmovable(const Unmovable&) = delete;
    Unmovable(Unmovable&&) = delete;
    Unmovable& operator=(const Unmovable&) = delete;
    Unmovable& operator=(Unmovable&&) = delete;

protected:
    ~Unmovable() = default;
};
