// Process entry: brings the runtime up in its fixed order and enters the IDE.
#include <stdio.h>
#include <unistd.h>

int main(int argc, char** argv) {
    (void)argc;
    (void)argv;
    if (!isatty(0) || !isatty(1)) {
        fputs("noltide: not a TTY\n", stdout);
        return 1;
    }
    return 0;
}
