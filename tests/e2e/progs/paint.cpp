// Paints a known screen in the alternate buffer, asks the terminal where its cursor is, then
// echoes its raw input in caret notation. '#' shows the terminal's size. 'q' and a digit leave
// the alternate buffer, hide the cursor and exit with that digit as the status.
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <string>

static void out(const std::string& s) {
    for (size_t done = 0; done < s.size();) {
        ssize_t w = write(1, s.data() + done, s.size() - done);
        if (w <= 0) _exit(100);
        done += static_cast<size_t>(w);
    }
}

static char in() {
    char c;
    if (read(0, &c, 1) != 1) _exit(101);
    return c;
}

int main() {
    termios saved, raw;
    if (tcgetattr(0, &saved) != 0) return 102;
    raw = saved;
    cfmakeraw(&raw);
    tcsetattr(0, TCSANOW, &raw);

    out("before\x1b[?1049h\x1b[H\x1b[2J");
    out("plain");
    out("\x1b[2;3H\x1b[1;31mbold red\x1b[0m");
    out("\x1b[3;1H\x1b[4;38;5;202munder\x1b[0m \x1b[7;48;2;10;20;30mrev\x1b[0m \x1b[3;92mital\x1b[0m");
    // The reader sees the last character in two pieces.
    out("\x1b[4;1H\u6f22\u5b57");
    usleep(30000);
    out("x \xc3");
    usleep(30000);
    out("\xa9");

    out("\x1b[6n");  // the answer is ESC [ row ; col R
    std::string cpr;
    for (char c = in(); c != 'R'; c = in())
        if (c != '\x1b' && c != '[') cpr += c;
    out("\x1b[5;1Hcpr=" + cpr);

    out("\x1b[6;1H> ");
    for (;;) {
        char c = in();
        if (c == 'q') {
            int status = in() - '0';
            out("\x1b[?1049l\x1b[?25l\x1b[2;1Hbye");
            tcsetattr(0, TCSANOW, &saved);
            return status;
        }
        if (c == '#') {
            winsize ws{};
            ioctl(1, TIOCGWINSZ, &ws);
            out("[" + std::to_string(ws.ws_col) + "x" + std::to_string(ws.ws_row) + "]");
            continue;
        }
        unsigned char u = static_cast<unsigned char>(c);
        if (u < 0x20 || u == 0x7f)
            out(std::string{'^', static_cast<char>(u ^ 0x40)});
        else
            out(std::string(1, c));
    }
}
