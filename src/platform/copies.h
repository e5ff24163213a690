// Copies that a program made of the library's exported variables.
#pragma once

#include <stddef.h>

// A program that names a variable of a shared library and is not built as position-independent code gets a copy of it
// in its own data: the linker asks the loader for a copy relocation. Such a copy is the program's view of the variable.
struct exported_variable
{
    const char *name;
    void *address; // in the library
    size_t size;   // bytes
    void *copy;    // in the main program; null when it has none
};

// Finds the copies of `n` variables. A variable of the program that only has the same name is no copy.
void find_copies(exported_variable *variables, size_t n);
