#!/usr/bin/env bash
# Drives the real noltide in a pseudo-terminal for a while with random keys, mouse reports,
# bracketed pastes and resizes, on a copy of examples/hello with HOME in a temporary directory
# (run as nobody when started as root, so that typed paths cannot reach the system's files).
# Every few seconds it checks that the program is alive and redraws after a resize, and samples
# its resident memory, which must level off below a ceiling. At the end it sends Alt-Q, answers
# every save prompt with No and checks that the program exits 0 with the terminal's modes as
# before and the screen handed back (the alternate screen left, the cursor shown). Should the
# random input reach Quit by itself, that ending is checked the same way and a new run starts.
#
#   tools/soak.sh [SECONDS] [NOLTIDE]     (default: 60 seconds, build/release/noltide)
#
# SOAK_SEED fixes the random input; SOAK_LOG names a file that gets everything the program wrote.
set -euo pipefail
cd "$(dirname "$0")/.."
exec python3 - "${1:-60}" "$(realpath "${2:-build/release/noltide}")" "$PWD/examples/hello" <<'EOF'
import fcntl, os, random, re, select, shutil, signal, struct, subprocess, sys, tempfile, termios, time

seconds, binary, example = float(sys.argv[1]), sys.argv[2], sys.argv[3]
rng = random.Random(int(os.environ.get("SOAK_SEED", time.time())))
PROBE_EVERY, WARM_UP, RSS_CEILING_KB = 5.0, min(30.0, seconds / 3), 256 * 1024
log = open(os.environ["SOAK_LOG"], "wb") if os.environ.get("SOAK_LOG") else None
work = tempfile.mkdtemp(prefix="noltide-soak-")
home, project = os.path.join(work, "home"), os.path.join(work, "hello")
os.mkdir(home)
shutil.copytree(example, project)
# A copy of the program inside the work folder, so that nobody can run it wherever the build lies.
binary = shutil.copy2(binary, os.path.join(work, "noltide"))
as_nobody = os.geteuid() == 0
if as_nobody:
    for root, dirs, files in os.walk(work):
        for name in [root] + [os.path.join(root, n) for n in dirs + files]:
            os.chown(name, 65534, 65534)

run = None

def drawn_text(data):
    """The bytes without the CSI sequences between them."""
    return re.sub(rb"\x1b\[[0-9;?]*[A-Za-z]", b" ", data)

def fail(message):
    print("soak: FAILED: " + message + (" (screen %dx%d)" % run.size if run else "") + "; files in " + work)
    if run is not None:
        print("soak: the last text drawn: %r" % re.sub(rb" +", b" ", drawn_text(bytes(run.output[-1500:]))))
        if run.proc.poll() is None:
            run.proc.kill()
    sys.exit(1)

class Run:
    def __init__(self, cols, rows):
        self.master, self.slave = os.openpty()
        self.resize(cols, rows, signal_it=False)
        self.modes = termios.tcgetattr(self.slave)
        env = {"PATH": os.environ.get("PATH", "/usr/bin:/bin"), "HOME": home, "TERM": "xterm-256color"}

        def child():
            os.setsid()
            fcntl.ioctl(0, termios.TIOCSCTTY, 0)
            if as_nobody:
                os.setgroups([])
                os.setgid(65534)
                os.setuid(65534)

        self.proc = subprocess.Popen([binary], cwd=project, env=env, stdin=self.slave, stdout=self.slave,
                                     stderr=self.slave, preexec_fn=child, close_fds=True)
        self.output = bytearray()
        self.total = 0

    def resize(self, cols, rows, signal_it=True):
        self.size = (cols, rows)
        fcntl.ioctl(self.master, termios.TIOCSWINSZ, struct.pack("HHHH", rows, cols, 0, 0))
        if signal_it:
            os.killpg(self.proc.pid, signal.SIGWINCH)

    def pump(self, wait):
        """Reads what the program wrote within `wait` seconds; the byte count."""
        got, end = 0, time.monotonic() + wait
        while True:
            left = end - time.monotonic()
            if not select.select([self.master], [], [], max(left, 0))[0]:
                return got
            try:
                data = os.read(self.master, 65536)
            except OSError:
                return got
            if not data:
                return got
            got += len(data)
            self.total += len(data)
            if log:
                log.write(data)
            self.output += data
            del self.output[:-(1 << 20)]

    def send(self, data):
        try:
            os.write(self.master, data)
        except OSError:
            pass
        self.pump(0.01)

    def since(self, mark):
        """What was written after the byte count was `mark`, as far as it is kept."""
        n = min(self.total - mark, len(self.output))
        return bytes(self.output[len(self.output) - n:])

    def rss_kb(self):
        with open("/proc/%d/status" % self.proc.pid) as status:
            return int(re.search(r"VmRSS:\s+(\d+)", status.read()).group(1))

    def ended_well(self, why):
        """Waits for the end and checks the exit status and the terminal left behind."""
        for _ in range(100):
            self.pump(0.05)
            if self.proc.poll() is not None:
                break
        if self.proc.poll() is None:
            self.proc.kill()
            fail(why + ": still running")
        self.pump(0.2)
        if self.proc.returncode != 0:
            fail("%s: exit status %d" % (why, self.proc.returncode))
        if termios.tcgetattr(self.slave) != self.modes:
            fail(why + ": the terminal's modes were not restored")
        tail = bytes(self.output)
        if tail.rfind(b"\x1b[?1049l") < tail.rfind(b"\x1b[?1049h") or b"\x1b[?1049l" not in tail:
            fail(why + ": the alternate screen was not left")
        if not tail.endswith(b"\x1b[?25h"):
            fail(why + ": the last bytes do not show the cursor: %r" % tail[-40:])
        os.close(self.master)
        os.close(self.slave)

def sgr(code, x, y, press):
    return b"\x1b[<%d;%d;%d%s" % (code, x + 1, y + 1, b"M" if press else b"m")

KEYS = [b"\r", b"\t", b"\x1b[Z", b"\x7f", b"\x1b[A", b"\x1b[B", b"\x1b[C", b"\x1b[D", b"\x1b[H", b"\x1b[F",
        b"\x1b[5~", b"\x1b[6~", b"\x1b[3~", b"\x1b[2~", b"\x1bOQ", b"\x1bOR", b"\x1b[15~", b"\x1b[21~",
        b"\x1bf", b"\x1be", b"\x1bb", b"\x1bp", b"\x1bs", b"\x1bh", b"\x0e", b"\x01", b"\x03", b"\x18",
        b"\x16", b"\x13", b"\x0f", b"\x1b[1;2C", b"\x1b[1;5D", b"fn f()\r", b"end\r", b"\x1b"]

def random_input(run):
    cols, rows = run.size
    kind = rng.random()
    if kind < 0.45:
        return rng.choice(KEYS)
    if kind < 0.65:
        return bytes(rng.choice(b"abcdefghij klmnopxyz0123456789_(){}\"'#=.,") for _ in range(rng.randint(1, 12)))
    if kind < 0.85:
        button, x, y = rng.choice([0, 0, 0, 2]), rng.randrange(cols), rng.randrange(rows)
        if rng.random() < 0.3:
            return sgr(rng.choice([64, 65]), x, y, True)
        drag = b"".join(sgr(32 + button, max(0, x + rng.randint(-6, 6)), max(0, y + rng.randint(-3, 3)), True)
                        for _ in range(rng.randint(0, 4)))
        return sgr(button, x, y, True) + drag + sgr(button, x, y, False)
    if kind < 0.95:
        body = bytes(rng.choice(b"abc xyz\n\tend fn()\xc3\xa9") for _ in range(rng.randint(0, 60)))
        return b"\x1b[200~" + body + b"\x1b[201~"
    return None  # a resize

def probe(run, why):
    """Stops typing, changes the size and waits for the redraw."""
    if run.proc.poll() is not None:
        return False
    cols, rows = run.size
    run.pump(0.3)
    run.resize(cols + 1 if cols < 120 else 60, rows)
    if run.pump(0.05) == 0 and run.pump(10) == 0 and run.proc.poll() is None:
        fail(why + ": no redraw within 10 s after a resize")
    return run.proc.poll() is None

start = time.monotonic()
runs, samples, warm_rss = 0, [], None
run = None
while True:
    if run is None:
        run, runs = Run(80, 24), runs + 1
        if run.pump(0.5) == 0 and run.pump(10) == 0:
            fail("nothing drawn at start")
    now = time.monotonic() - start
    if now >= seconds:
        break
    next_probe = now + PROBE_EVERY
    while time.monotonic() - start < min(next_probe, seconds) and run.proc.poll() is None:
        data = random_input(run)
        if data is None:
            run.resize(rng.randint(20, 160), rng.randint(6, 50))
        else:
            run.send(data)
    if not probe(run, "at %.0f s" % (time.monotonic() - start)):
        run.ended_well("quit by the random input at %.0f s" % (time.monotonic() - start))
        run = None
        continue
    rss = run.rss_kb()
    samples.append((time.monotonic() - start, rss))
    if warm_rss is None and samples[-1][0] >= WARM_UP:
        warm_rss = rss

# Alt-Q; a save prompt gets No (Tab, Enter); anything else open (a menu, a dialog, which take no
# Alt-Q) gets a lone ESC and another Alt-Q.
mark = run.total
run.send(b"\x1bq")
for _ in range(40):
    run.pump(0.5)
    if run.proc.poll() is not None:
        break
    asked = b"changes" in drawn_text(run.since(mark))  # "Save changes ...?"
    if not asked:
        run.send(b"\x1b")
        run.pump(0.3)
    mark = run.total
    run.send(b"\t\r" if asked else b"\x1bq")
end_rss = samples[-1][1] if samples else 0
run.ended_well("at the end")
first = samples[0][1] if samples else 0
peak = max((r for t, r in samples if t >= WARM_UP), default=end_rss)
print("soak: %.0f s, %d run(s), %d probes; RSS %d kB at start, %s kB after warm-up, %d kB peak after it, %d kB at end"
      % (seconds, runs, len(samples), first, warm_rss if warm_rss is not None else "-", peak, end_rss))
if samples[5::6]:
    print("soak: RSS (kB) every 30 s: " + " ".join(str(r) for t, r in samples[5::6]))
# The heap touches its whole region (64 MB) before it reuses freed blocks, so RSS climbs to about
# that and stays. A leak keeps climbing: past the ceiling, or still in the last minute of a long run.
if peak > RSS_CEILING_KB:
    fail("resident memory reached %d kB, above %d kB" % (peak, RSS_CEILING_KB))
minute_ago = [r for t, r in samples if t <= samples[-1][0] - 60] if samples else []
if seconds >= 300 and minute_ago and end_rss > minute_ago[-1] * 1.05:
    fail("resident memory still grows at the end: %d kB a minute before, %d kB now" % (minute_ago[-1], end_rss))
shutil.rmtree(work, ignore_errors=True)
print("soak: OK")
EOF
