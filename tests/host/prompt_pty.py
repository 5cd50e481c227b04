# kavmath's prompt on a pseudo-terminal, as a user types: arrows, Tab, Ctrl-C,
# an error, Ctrl-D, then the history in a second session.
# Usage: prompt_pty.py KAVMATH-COMMAND...
import os, pty, select, sys, tempfile

UP, LEFT = b"\x1b[A", b"\x1b[D"
# Waits are counted in empty polls, not by the clock, so a machine that is
# paused or starved for a while does not fail the test; 80 polls = 20 s idle.
POLL, POLLS = 0.25, 80


def session(env, steps):
    pid, fd = pty.fork()
    if pid == 0:
        os.execvpe(sys.argv[1], sys.argv[1:], env)
    out = b""

    def until(want):  # every read has its own budget, so a hang fails
        nonlocal out
        polls = 0
        while want not in out:
            if not select.select([fd], [], [], POLL)[0]:
                polls += 1
                if polls == POLLS:
                    sys.exit("waited for %r, got %r" % (want, out))
                continue
            try:
                out += os.read(fd, 4096)
            except OSError:
                sys.exit("kavmath ended; waited for %r, got %r" % (want, out))
        out = out[out.index(want) + len(want):]

    until(b"'help' for help")
    for keys, want in steps:
        until(b"kav> ")
        os.write(fd, keys)
        until(want)
    until(b"kav> ")
    os.write(fd, b"\x04")  # Ctrl-D
    for _ in range(POLLS):
        done, status = os.waitpid(pid, os.WNOHANG)
        if done:
            if os.waitstatus_to_exitcode(status) != 0:
                sys.exit("Ctrl-D left with %d" % os.waitstatus_to_exitcode(status))
            return
        if select.select([fd], [], [], POLL)[0]:  # keep the terminal drained
            try:
                out += os.read(fd, 4096)
            except OSError:  # the terminal is closed: kavmath is leaving
                select.select([], [], [], POLL)
    sys.exit("kavmath still runs after Ctrl-D; it printed %r" % out)


home = tempfile.TemporaryDirectory()
env = dict(os.environ, TERM="xterm", HOME=home.name, KAVMATH_HISTORY=home.name + "/history")
session(env, [
    (b"no_such(1)\r", b"unknown function"),  # the status at Ctrl-D stays 0
    (b"sin(3000)" + LEFT + b"0\r", b"\r\n500\r\n"),  # sin(30000)
    (b"sin(1\x03", b"^C"),  # the line is dropped: "2" alone follows
    (b"2\r", b"\r\n2\r\n"),
    (b"smo\t0.0, 1.0, 0.5)\r", b"\r\n0.5\r\n"),  # smoothstep(
    (b"sin(30000)\r", b"\r\n500\r\n"),
    (UP + UP + b"\r", b"\r\n0.5\r\n"),
])
session(env, [(UP + b"\r", b"\r\n0.5\r\n")])  # the last line of the first session
