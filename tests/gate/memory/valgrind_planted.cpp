// valgrind_planted none|leak|over_read|unwritten: a program with the fault that memcheck must see.
#include <cstdio>
#include <cstdlib>
#include <cstring>

int main(int count, char** arguments) {
    const char* fault = count > 1 ? arguments[1] : "";
    char* volatile block = static_cast<char*>(std::malloc(8));
    if (std::strcmp(fault, "unwritten") != 0) std::memset(block, 1, 8);
    const int index = std::strcmp(fault, "over_read") == 0 ? 8 : 7;
    if (block[index] == 2) std::puts("two");
    if (std::strcmp(fault, "leak") == 0) {
        block = nullptr;
    } else {
        std::free(block);
    }
    return 0;
}
