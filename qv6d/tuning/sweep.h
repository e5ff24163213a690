// What a sweep varies: customer keys and their values, and how many magnetometer events are left out.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace qv6d
{

struct varied_key
{
    std::string name;
    bool integer;
    std::vector<double> values;
};

struct combination
{
    std::uint64_t number; // from 1; 0 is the base, which sets no key
    std::uint64_t every;
    std::vector<double> values; // in the order of the keys
};

// What a combination sets: keys with their values.
std::vector<std::pair<std::string, double>> pairs_of(const std::vector<varied_key> &keys, const combination &c);

// A shard is the combinations first, first + step, ...
struct shard
{
    std::uint64_t first = 1, step = 1;
};

// "a,b,c", where each may be a range "from:to:step" that includes its end when a step falls on it. `name` stands in
// front of what is wrong with it. Throws qv6d::error.
std::vector<double> parse_values(const std::string &name, std::string_view text);

// "KEY=VALUES" of a key that the library knows.
varied_key parse_key(const std::string &text);

// "K/N".
shard parse_shard(const std::string &text);

class sweep
{
public:
    // Throws qv6d::error when a key is there twice or when there are too many combinations to count.
    sweep(std::vector<varied_key> keys, std::vector<double> every);

    const std::vector<varied_key> &keys() const
    {
        return keys_;
    }

    std::uint64_t size() const
    {
        return size_;
    }

    // The last key's values change fastest, --every slowest.
    combination at(std::uint64_t number) const;

    // Throws qv6d::error when there are too many to keep the results of.
    std::vector<combination> of(const shard &part) const;

private:
    std::vector<varied_key> keys_;
    std::vector<double> every_;
    std::uint64_t size_;
};

} // namespace qv6d
