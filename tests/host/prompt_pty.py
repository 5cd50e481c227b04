# kavmath's prompt on a pseudo-terminal, as a user types: arrows, Tab, Ctrl-C,
# an error, Ctrl-D, then the history in a second session.
# Usage: prompt_pty.py KAVMATH-COMMAND...
import fcntl, os, pty, select, struct, sys, tempfile, termios

UP, LEFT = b"\x1b[A", b"\x1b[D"
# Waits are counted in empty polls, not by the clock, so a machine that is
# paused or starved for a while does not fail the test; 80 polls = 20 s idle.
POLL, POLLS = 0.25, 80


def session(env, steps):
    fd, tty = pty.openpty()
    fcntl.ioctl(tty, termios.TIOCSWINSZ, struct.pack("HHHH", 24, 80, 0, 0))
    pid = os.fork()
    if pid == 0:
        os.setsid()
        fcntl.ioctl(tty, termios.TIOCSCTTY, 0)
        for std in range(3):
            os.dup2(tty, std)
        os.execvpe(sys.argv[1], sys.argv[1:], env)
    out = b""

    # libedit shows the prompt before it leaves line mode; keys typed in
    # between would meet the terminal's own ^C, ^D and echo, so wait for it.
    def editing():
        polls = 0
        while termios.tcgetattr(tty)[3] & termios.ICANON:
            polls += 1
            if polls == POLLS * 25:
                sys.exit("the terminal never left line mode; got %r" % out)
            select.select([], [], [], POLL / 25)

    def until(want, keys=b""):  # every read has its own budget, so a hang fails
        nonlocal out
        polls = 0
        while want not in out:
            if not select.select([fd], [], [], POLL)[0]:
                polls += 1
                if polls == POLLS:
                    sys.exit("waited for %r after %r, got %r" % (want, keys, out))
                continue
            out += os.read(fd, 4096)  # this side keeps the terminal open
        out = out[out.index(want) + len(want):]

    until(b"'help' for help")
    for keys, want in steps:
        until(b"kav> ")
        editing()
        os.write(fd, keys)
        until(want, keys)
    until(b"kav> ")
    editing()
    os.write(fd, b"\x04")  # Ctrl-D
    for _ in range(POLLS):
        done, status = os.waitpid(pid, os.WNOHANG)
        if done:
            os.close(tty)
            os.close(fd)
            if os.waitstatus_to_exitcode(status) != 0:
                sys.exit("Ctrl-D left with %d" % os.waitstatus_to_exitcode(status))
            return
        if select.select([fd], [], [], POLL)[0]:  # keep the terminal drained
            out += os.read(fd, 4096)
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
