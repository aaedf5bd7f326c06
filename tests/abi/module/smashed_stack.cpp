// Writes over the end of an array in its own stack frame: with stack cookies the system ends the program
// there.
#include <cstdio>
#include <cstring>

namespace {

void Overwrite(const char* text, std::size_t size) {
    char buffer[16];
    std::memcpy(buffer, text, size);
    std::printf("%.1s", buffer);
}

}  // namespace

int main(int count, char** arguments) {
    char text[64];
    std::memset(text, 'x', sizeof text);
    Overwrite(text, count > 1 && std::strcmp(arguments[1], "smash") == 0 ? 48 : 16);
    return 0;
}
