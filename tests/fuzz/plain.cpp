// Runs a target over kept inputs, for builds without a fuzzer: PROGRAM FOLDER. Names each input before it, so that the
// last name is that of the one that broke it. C's calls, which the memory sanitizer knows.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <string>
#include <unistd.h>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t size);

static bool run(const std::string &path)
{
    static std::uint8_t bytes[1 << 20];
    const int file = open(path.c_str(), O_RDONLY);
    const ssize_t size = read(file, bytes, sizeof bytes); // fails for the folder itself
    close(file);
    if (size < 0)
        return false;
    std::fprintf(stderr, "%s\n", path.c_str());
    LLVMFuzzerTestOneInput(bytes, static_cast<std::size_t>(size));
    return true;
}

int main(int, char **arguments)
{
    dirent **names;
    const int count = scandir(arguments[1], &names, nullptr, alphasort);
    int tried = 0;
    for (int i = 0; i < count; ++i)
    {
        tried += run(std::string(arguments[1]) + "/" + names[i]->d_name);
        std::free(names[i]);
    }
    if (count >= 0)
        std::free(names);
    return tried > 0 ? 0 : 1;
}
