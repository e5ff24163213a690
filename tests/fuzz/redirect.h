// Included ahead of every source of the fuzzed library: its files are kept in memory, whatever path it is given.
#pragma once

#include <cstdio>

extern "C" std::FILE *sandbox_fopen(const char *path, const char *mode);

namespace std
{
using ::sandbox_fopen;
}

#define fopen sandbox_fopen
