# kavmath's prompt on a pseudo-terminal, as a user types: arrows, Tab, Ctrl-C,
# an error, Ctrl-D, then the history in a second session.
# Usage: prompt_pty.py KAVMATH-COMMAND...
import os, pty, select, sys, tempfile, time

UP, LEFT = b"\x1b[A", b"\x1b[D"


def session(env, steps):
    pid, fd = pty.fork()
    if pid == 0:
        os.execvpe(sys.argv[1], sys.argv[1:], env)
    out = b""

    def until(want):  # every read has its own deadline, so a hang fails
        nonlocal out
        deadline = time.time() + 20
        while want not in out:
            left = deadline - time.time()
            if left <= 0 or not select.select([fd], [], [], left)[0]:
                sys.exit("waited for %r, got %r" % (want, out))
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
    deadline = time.time() + 20
    while time.time() < deadline:
        done, status = os.waitpid(pid, os.WNOHANG)
        if done:
            if os.waitstatus_to_exitcode(status) != 0:
                sys.exit("Ctrl-D left with %d" % os.waitstatus_to_exitcode(status))
            return
        time.sleep(0.05)
    sys.exit("kavmath still runs after Ctrl-D")


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
