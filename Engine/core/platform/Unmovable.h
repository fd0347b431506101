#pragma once

/// Base of classes whose objects stay where they were made: other objects and threads hold their address.
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
