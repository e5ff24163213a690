// An open file of the system, closed when this goes.
#pragma once

#include <unistd.h>
#include <utility>

namespace qv6d
{

class descriptor
{
public:
    explicit descriptor(int number = -1) : number_(number)
    {
    }

    descriptor(descriptor &&other) noexcept : number_(std::exchange(other.number_, -1))
    {
    }

    descriptor &operator=(descriptor &&other) noexcept
    {
        std::swap(number_, other.number_);
        return *this;
    }

    descriptor(const descriptor &) = delete;
    descriptor &operator=(const descriptor &) = delete;

    ~descriptor()
    {
        if (number_ > STDERR_FILENO)
            close(number_);
    }

    int get() const
    {
        return number_;
    }

    // For a close whose failure matters.
    int release()
    {
        return std::exchange(number_, -1);
    }

private:
    int number_;
};

} // namespace qv6d
