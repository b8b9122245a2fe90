// Waits for the end of its input, and does nothing.

#include <unistd.h>

int main() {
    char byte = 0;
    while (read(STDIN_FILENO, &byte, 1) > 0) {
    }
    return 0;
}
