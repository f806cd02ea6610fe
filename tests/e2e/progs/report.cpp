// Prints what it was started with, one fact a line (note.txt is read from the working
// directory), then exits with the status given as its first argument. Without a terminal it
// also copies its standard input. E2E_FLOOD=n appends n numbered lines.
#include <stdio.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <string>

static const char* env(const char* name) {
    const char* v = getenv(name);
    return v ? v : "unset";
}

int main(int argc, char** argv) {
    printf("tty=%d%d\n", isatty(0), isatty(1));
    winsize ws{};
    if (ioctl(1, TIOCGWINSZ, &ws) == 0)
        printf("size=%dx%d\n", ws.ws_col, ws.ws_row);
    else
        printf("size=none\n");
    printf("term=%s\nhome=%s\n", env("TERM"), env("HOME"));
    char cwd[4096];
    printf("cwd=%s\n", getcwd(cwd, sizeof cwd) ? cwd : "?");
    printf("colorterm=%s\nvar=%s\n", env("COLORTERM"), env("E2E_VAR"));
    std::string args;
    for (int i = 2; i < argc; ++i) args += std::string(i > 2 ? "," : "") + argv[i];
    printf("args=%s\n", args.c_str());
    char note[256] = "none";
    if (FILE* f = fopen("note.txt", "r")) {
        if (!fgets(note, sizeof note, f)) note[0] = 0;
        fclose(f);
    }
    printf("note=%s\n", note);
    if (!isatty(0)) {
        std::string input;
        for (int c; (c = getchar()) != EOF;) input += static_cast<char>(c);
        printf("in=%s\n", input.c_str());
    }
    for (int i = 0, n = atoi(env("E2E_FLOOD")); i < n; ++i) printf("line %d\n", i);
    fputs("report: to stderr\n", stderr);
    return argc > 1 ? atoi(argv[1]) : 0;
}
