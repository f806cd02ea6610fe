// Ignores the polite signals, starts a child that does the same, says so and waits forever.
#include <signal.h>
#include <stdio.h>
#include <unistd.h>

int main() {
    signal(SIGTERM, SIG_IGN);
    signal(SIGINT, SIG_IGN);
    signal(SIGHUP, SIG_IGN);
    pid_t child = fork();
    if (child == 0)
        for (;;) pause();
    printf("\nchild %d hangs\n", static_cast<int>(child));
    fflush(stdout);
    for (;;) pause();
}
