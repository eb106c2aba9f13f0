"""Drives the real app from outside its process, as a screen reader and a person would: a private
X server, a private D-Bus session with the accessibility bus, and the unmodified app in them.
Everything a Session starts is stopped when it ends.
"""

import contextlib
import ctypes
import os
import select
import shutil
import signal
import subprocess
import tempfile
import time

DEFAULT_TIMEOUT = 15.0


class Unavailable(Exception):  # the X server or the accessibility bus could not start here
    pass


def _require(program):
    if not shutil.which(program):
        raise AssertionError(f"{program} is missing: run ./scripts/setup.sh")
    return program


def descendants(pid):
    """Ids of every live process below pid (read from /proc)."""
    children = {}
    for entry in filter(str.isdigit, os.listdir("/proc")):
        with contextlib.suppress(OSError), open(f"/proc/{entry}/stat") as stat:
            state, parent = stat.read().rsplit(")", 1)[1].split()[:2]
            if state != "Z":
                children.setdefault(int(parent), []).append(int(entry))
    found = [pid]
    for parent in found:  # grows as it goes: every generation below pid
        found += children.get(parent, [])
    return found[1:]


class Session:
    """One private desktop with the app in it. Use as a context manager."""

    def __init__(self, app, shots_dir, name, fixture, env=None):
        self.app_path, self.fixture, self.extra_env = app, fixture, env or {}
        self.shots_dir = os.path.join(shots_dir, name)
        self.scratch = tempfile.mkdtemp(prefix="tarnwick-robot-")
        self.home = os.path.join(self.scratch, "home")
        self._daemons, self.app, self.window, self._shot_number = [], None, None, 0

    def __enter__(self):
        try:
            os.makedirs(self.home, exist_ok=True)
            shutil.rmtree(self.shots_dir, ignore_errors=True)
            os.makedirs(self.shots_dir)
            self.display = ":" + self._daemon_line([_require("Xvfb"), "-displayfd", "1", "-screen", "0", "1024x768x24",
                                                     "-noreset", "-nolisten", "tcp"], "Xvfb")
            self._start_buses()
        except BaseException:
            self.close()
            raise
        return self

    def __exit__(self, *exc):
        self.close()

    def _spawn(self, argv, **kwargs):
        self._daemons.append(subprocess.Popen(argv, preexec_fn=_own_group_dying_with_us, stdin=subprocess.DEVNULL, **kwargs))

    def _daemon_line(self, argv, what, timeout=20):
        """Starts a daemon that prints one line, its display or address, once it is ready."""
        self._spawn(argv, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
        out = self._daemons[-1].stdout
        if not select.select([out], [], [], timeout)[0] or not (line := out.readline().strip()):
            raise Unavailable(f"{what} exited, or did not start within {timeout} s")
        return line.decode()

    def _start_buses(self):
        launcher = _require("/usr/libexec/at-spi-bus-launcher")
        _require("/usr/libexec/at-spi2-registryd")
        runtime = os.path.join(self.scratch, "runtime")
        os.makedirs(runtime, mode=0o700)
        address = self._daemon_line([_require("dbus-daemon"), "--session", "--nofork", "--nopidfile", "--print-address=1"],
                                    "the D-Bus session bus")
        self.env = {"PATH": os.environ.get("PATH", "/usr/bin:/bin"), "HOME": self.home, "XDG_CONFIG_HOME": os.path.join(self.home, ".config"),
                    "XDG_RUNTIME_DIR": runtime, "DISPLAY": self.display, "DBUS_SESSION_BUS_ADDRESS": address,
                    "LANG": "C.UTF-8", "NO_AT_BRIDGE": "0"}
        self._spawn([launcher, "--launch-immediately"], env=self.env, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        # pyatspi connects to the buses named in this process's environment when imported.
        os.environ.update(self.env)
        import pyatspi
        from gi.repository import GLib
        self.pyatspi, self._events = pyatspi, GLib.MainContext.default()
        # Sheets that open and close between two looks are still seen: their events are kept.
        self.sheet_events = []
        def on_showing(event):
            with contextlib.suppress(Exception):  # gone already
                if event.source.getRoleName() == "dialog":
                    self.sheet_events.append("shown" if event.detail1 else "hidden")
        pyatspi.Registry.registerEventListener(on_showing, "object:state-changed:showing")
        for _ in range(100):  # the registry answers once the launcher has started it
            with contextlib.suppress(Exception):
                pyatspi.Registry.getDesktop(0).childCount
                return
            time.sleep(0.2)
        raise Unavailable("the accessibility bus did not answer within 20 s")

    def launch(self):
        """Starts the app, waits for its window, then clicks an empty corner: without a window manager
        the app takes the keyboard only after a click, and keeps it while the pointer stays there."""
        env = dict(self.env, TARNWICK_FIXTURE=self.fixture, QT_QPA_PLATFORM="xcb", QT_LINUX_ACCESSIBILITY_ALWAYS_ON="1", **self.extra_env)
        self._log = open(os.path.join(self.shots_dir, "app.log"), "ab")
        self.app = subprocess.Popen([self.app_path], env=env, preexec_fn=_own_group_dying_with_us, stdin=subprocess.DEVNULL,
                                    stdout=self._log, stderr=subprocess.STDOUT)
        self.window = self.wait_for(self._app_window, "the app's window in the accessibility tree")
        x, y, width, height = self._extents(self.window)
        self.xdotool("mousemove", str(x + 4), str(y + height - 4), "click", "1")

    def _app_window(self):
        desktop = self.pyatspi.Registry.getDesktop(0)
        for index in range(desktop.childCount):
            with contextlib.suppress(Exception):  # None, or an application that went away
                application = desktop.getChildAtIndex(index)
                if application.get_process_id() == self.app.pid and application.childCount:
                    return application.getChildAtIndex(0)

    def quit_app(self):
        if self.app is not None:
            app, self.app, self.window = self.app, None, None
            _stop_group(app)
            self._log.close()

    def close(self):
        self.quit_app()
        for process in reversed(self._daemons):
            _stop_group(process)
        self._daemons.clear()
        shutil.rmtree(self.scratch, ignore_errors=True)

    def wait_for(self, probe, what, timeout=DEFAULT_TIMEOUT):
        """Calls probe until it returns something truthy; fails naming what was awaited."""
        deadline = time.monotonic() + timeout
        while True:
            while self._events.iteration(False):
                pass
            found = probe()
            if found:
                return found
            if self.app is not None and self.app.poll() is not None:
                raise AssertionError(f"the app exited with {self.app.returncode} while waiting for {what}")
            if time.monotonic() > deadline:
                with contextlib.suppress(Exception):  # the failure below says more than a missing picture
                    self.shot("timeout")
                raise AssertionError(f"timed out after {timeout:.0f} s waiting for {what}; on screen:\n{self.describe()}")
            time.sleep(0.1)

    def showing(self, root=None):
        """Every item on screen under root (the window), parents before children."""
        todo = [root or self.window]
        while todo:
            node = todo.pop(0)
            try:
                if node is self.window or node.getState().contains(self.pyatspi.STATE_SHOWING):
                    yield node
                    todo.extend(node.getChildAtIndex(i) for i in range(node.childCount))
            except Exception:
                continue  # an item that went away while we looked

    def all(self, role, name=None, root=None):
        """Showing items of a role (e.g. "push button"), optionally with this exact name."""
        return [node for node in self.showing(root) if node.getRoleName() == role and (name is None or node.name == name)]

    def find(self, role, name, timeout=DEFAULT_TIMEOUT):
        """The one showing item with this role and accessible name."""
        def probe():
            matches = self.all(role, name)
            if len(matches) > 1:
                raise AssertionError(f"{len(matches)} showing {role}s are named {name!r}")
            return matches[0] if matches else None
        return self.wait_for(probe, f'{role} "{name}"', timeout)

    def through(self, act, *names, timeout=DEFAULT_TIMEOUT):
        """Acts (click or press) on each named push button in turn, once it shows."""
        for name in names:
            act(self.find("push button", name, timeout))

    def wait_gone(self, role, name, timeout=DEFAULT_TIMEOUT):
        self.wait_for(lambda: not self.all(role, name), f'{role} "{name}" to go away', timeout)

    def texts(self):
        """The names of the showing labels and texts, top to bottom."""
        return [node.name for node in self.showing() if node.getRoleName() in ("label", "text") and node.name]

    def describe(self):
        try:
            return "\n".join(f"  {node.getRoleName()}: {node.name!r}" for node in self.showing() if node.name)
        except Exception as error:
            return f"  (the tree could not be read: {error})"

    def _extents(self, item):
        return tuple(item.queryComponent().getExtents(self.pyatspi.DESKTOP_COORDS))

    def xdotool(self, *args):
        subprocess.run([_require("xdotool"), *args], env=self.env, check=True, timeout=10)

    def click(self, item):
        """A real left click at the middle of the item, once a screen laying itself out stops moving it."""
        settled = [self._extents(item)]
        def still():
            time.sleep(0.1)
            settled.append(self._extents(item))
            return settled[-1] == settled[-2]
        self.wait_for(still, f"{item.getRoleName()} {item.name!r} to stop moving", timeout=5)
        x, y, width, height = settled[-1]
        if width <= 0 or height <= 0:
            raise AssertionError(f"{item.getRoleName()} {item.name!r} has no size on screen")
        self.xdotool("mousemove", str(x + width // 2), str(y + height // 2), "click", "1")

    def press(self, item):
        """The accessibility "press" action, as a screen reader does it."""
        action = item.queryAction()
        names = [action.getName(i) for i in range(action.nActions)]
        if "Press" not in names:
            raise AssertionError(f"{item.getRoleName()} {item.name!r} offers no press action (only {names})")
        action.doAction(names.index("Press"))

    def type(self, item, text):
        """Clicks into a text field and types ASCII text with real key events."""
        self.click(item)
        self.xdotool("type", "--delay", "20", text)
        self.wait_for(lambda: item.queryText().getText(0, -1) == text, f"{item.name!r} to read {text!r}", timeout=5)

    def shot(self, label):
        """A picture of the window and whatever it shows over itself, numbered in the order taken."""
        self._shot_number += 1
        path = os.path.join(self.shots_dir, f"{self._shot_number:02d}-{label}.png")
        crop = []
        if self.window is not None:
            x, y, width, height = self._extents(self.window)
            crop = ["-crop", f"{width}x{height}+{max(x, 0)}+{max(y, 0)}", "+repage"]
        subprocess.run([_require("import"), "-display", self.display, "-window", "root", *crop, path], env=self.env, check=True, timeout=20)


def _own_group_dying_with_us():
    """In a child before exec: a session of its own, and SIGTERM should this driver be killed
    (a test run's time limit) before it could tear down what it started."""
    os.setsid()
    ctypes.CDLL(None, use_errno=True).prctl(1, signal.SIGTERM)  # PR_SET_PDEATHSIG


def _stop_group(process):
    """SIGTERM to the group, SIGKILL if it lingers, then SIGKILL whatever the leader left behind."""
    for sig, wait in ((signal.SIGTERM, True), (signal.SIGKILL, True), (signal.SIGKILL, False)):
        if wait and process.poll() is not None:
            continue
        with contextlib.suppress(ProcessLookupError):
            os.killpg(process.pid, sig)
        if wait:
            with contextlib.suppress(subprocess.TimeoutExpired):
                process.wait(timeout=5)
