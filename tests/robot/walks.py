"""Walks through the real app the way a person does, on simulated Macs.

Run one walk (pyatspi stays bound to the first desktop it meets, so one walk a process):
  /usr/bin/python3 tests/robot/walks.py Walks.test_healthy_mac
TARNWICK_APP names the app binary, TARNWICK_ROBOT_SHOTS the folder for the screenshots.
Exits 77 (CTest's "skipped") when the X server or the accessibility bus cannot start here.
"""

import os
import sys
import time
import unittest
import warnings

# pyatspi's own deprecation notices are not about this code.
warnings.simplefilter("ignore", DeprecationWarning)
warnings.simplefilter("ignore", ImportWarning)
sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import robot  # noqa: E402

APP = os.environ.get("TARNWICK_APP", "build/default/src/app/tarnwick")
SHOTS = os.environ.get("TARNWICK_ROBOT_SHOTS", "build/default/screenshots/robot")

NOT_INSTALLED = "Java is not installed"
BREW_FIX = "Install Temurin via Homebrew (recommended)"
PKG_FIX = "Install Temurin (recommended)"
ZPROFILE_SHEET = "Set `JAVA_HOME` in `~/.zprofile`"
# Roles of items that carry meaning without text of their own: each needs a name. A busy
# indicator is "unknown" here; unnamed, a screen reader can only say that.
PICTURE_ROLES = {"image", "icon", "animation", "progress bar", "canvas", "unknown"}
# An audit page, by its title, and the button that leaves it without installing anything.
STAGE_WAY_ON = {"System check": "Continue", "Try Warp — the AI-aware terminal": "Maybe later"}
REPORT = "Your Mac at a glance"
MARK_NAMES = {"installed", "missing", "suggestion"}


class Walks(unittest.TestCase):

    def start(self, name, fixture, line_pause_ms=0, act=None):
        """The app launched on a simulated Mac; with act ("click" or "press"), past consent to the
        diagnosis. Whatever the walk does, the app must log no QML warning."""
        try:
            s = self.enterContext(robot.Session(APP, SHOTS, name, fixture, env={"TARNWICK_FIXTURE_LINE_PAUSE_MS": str(line_pause_ms)}))
        except robot.Unavailable as reason:
            self.skipTest(f"no desktop to drive: {reason}")
        s.launch()
        self.addCleanup(self.assertCleanLog, s)
        if act:
            s.through(getattr(s, act), "Continue", "Diagnose Java")
        return s

    def look(self, s, label, labels=(), buttons=()):
        """Every step: what must show, a picture, and no meaningful picture or icon without a name."""
        for role, names in (("label", labels), ("push button", buttons)):
            for name in names:
                s.find(role, name)
        s.shot(label)
        unnamed = [node.getRoleName() for node in s.showing() if node.getRoleName() in PICTURE_ROLES and not node.name]
        self.assertEqual(unnamed, [], f"unnamed pictures on the {label} screen")

    def assertCleanLog(self, s):
        with open(os.path.join(s.shots_dir, "app.log"), errors="replace") as log:
            self.assertEqual([line for line in log if ".qml:" in line], [], "the app logged QML warnings")

    def output_lines(self, s):
        return [node.name for node in s.all("text")]

    def audit_pages(self, s, act, titles):
        """Through the audit's pages, which must come in this order, to the report."""
        for title in titles:
            s.find("label", title)
            self.look(s, "audit-" + STAGE_WAY_ON[title].lower().replace(" ", "-"))
            act(s.find("push button", STAGE_WAY_ON[title]))
            s.wait_gone("label", title)
        s.find("label", REPORT)

    def report_rows(self, s):
        """The report as a screen reader goes through it: each mark's name with the row's text."""
        nodes = [node for node in s.showing() if node.getRoleName() in ("label", "push button") and node.name]
        return [(mark.name, text.name) for mark, text in zip(nodes, nodes[1:]) if mark.name in MARK_NAMES]

    def test_first_launch_fix_and_java_home(self):
        # A slow stream, so the lines are seen arriving while the fix runs.
        s = self.start("first-launch", "developer-no-java", line_pause_ms=400)
        self.look(s, "consent", ["Welcome to Tarnwick", "Running on a simulated Mac (developer-no-java). Set TARNWICK_FIXTURE=live to use "
                                 "this machine."], ["ferrowood.com/tarnwick/privacy"])
        s.xdotool("key", "Return")  # Continue is the default action
        self.look(s, "welcome", buttons=["Diagnose Java"])
        self.assertEqual(s.all("push button", "Continue"), [], "consent still shown after Return")

        s.click(s.find("push button", "Diagnose Java"))
        self.look(s, "diagnosis", [NOT_INSTALLED])

        # Line counts seen while the fix runs: a stream shows several, a dump at the end one.
        counts, shot_running = set(), False
        def ended():
            nonlocal shot_running
            counts.add(len(self.output_lines(s)))
            if len(counts - {0}) == 3 and not shot_running:
                self.look(s, "fix-running")
                shot_running = True
            return s.all("push button", "Continue to verify")
        s.click(s.find("push button", BREW_FIX))
        s.wait_for(ended, "the fix to end", timeout=30)
        s.find("dialog", "Installing Temurin via Homebrew", timeout=0)
        self.assertGreaterEqual(len(counts - {0}), 3, f"the output arrived in too few steps to be a stream: {sorted(counts)}")
        self.assertIn("🍺  temurin@25 was successfully installed!", self.output_lines(s))
        self.look(s, "fix-done")

        s.click(s.find("push button", "Continue to verify"))
        self.look(s, "verified-without-java-home", ["Java installed", "(unset)"])
        self.assertTrue(any(text.startswith('openjdk version "25.0.1"') for text in s.texts()),
                        "the verify screen does not show the new java -version")

        s.click(s.find("push button", "Set JAVA_HOME (recommended)"))
        s.find("dialog", ZPROFILE_SHEET)
        brew_line = '  eval "$(/opt/homebrew/bin/brew shellenv)"'
        added = ["+ export JAVA_HOME=$(/usr/libexec/java_home)", '+ export PATH="$JAVA_HOME/bin:$PATH"']
        changes = s.wait_for(lambda: self.output_lines(s), "the ~/.zprofile diff")
        self.assertEqual(changes[1:], added)
        self.assertNotIn(brew_line, changes)
        self.look(s, "zprofile-changes")
        s.click(s.find("push button", "Show full file"))
        s.wait_for(lambda: brew_line in self.output_lines(s), "the whole ~/.zprofile after the toggle")
        self.assertEqual(self.output_lines(s)[-2:], added)
        self.look(s, "zprofile-full-file")
        s.click(s.find("push button", "Show only changes"))
        s.wait_for(lambda: brew_line not in self.output_lines(s), "only the changes after the toggle back")

        s.through(s.click, "Apply", "Continue to verify")
        self.look(s, "verified", ["Java configured"], ["Continue to system audit"])
        self.assertEqual(s.all("dialog"), [], "a sheet is still open on the passed check")

        s.click(s.find("push button", "Continue to system audit"))
        self.audit_pages(s, s.click, ["Try Warp — the AI-aware terminal"])
        self.assertEqual(self.report_rows(s), [("installed", "Xcode Command Line Tools installed"),
                                               ("installed", "Homebrew installed"),
                                               ("suggestion", "Try Warp — we recommend it")])
        self.look(s, "report", ["How are we doing?"])
        s.click(s.find("check box", "9"))
        s.wait_for(lambda: s.find("check box", "9").getState().contains(s.pyatspi.STATE_CHECKED), "score 9 to be picked")
        s.type(s.find("text", "What's the main reason for your score? (optional)"), "Quick and clear")
        s.click(s.find("push button", "Submit feedback"))
        self.look(s, "report-thanks", ["✓ Thanks for the feedback."])
        self.assertEqual(s.all("check box"), [], "the scores are still offered after the thanks")
        s.click(s.find("push button", "Done — back to home"))
        self.look(s, "home", buttons=["Diagnose Java"])

        s.quit_app()
        # The same home, on a Mac whose diagnosis offers the card to anyone who has not answered.
        s.fixture = "healthy"
        s.launch()
        self.look(s, "second-launch", buttons=["Diagnose Java"])
        self.assertEqual(s.all("push button", "Continue"), [], "consent asked again on the second launch")
        s.click(s.find("push button", "Diagnose Java"))
        self.look(s, "second-launch-no-card", ["Java is installed"], ["Continue to system audit"])
        self.assertEqual(s.all("label", "How are we doing?"), [], "the card came back after it was answered")

    def test_audit_installs_homebrew(self):
        s = self.start("audit-homebrew", "cursor-user-no-homebrew", line_pause_ms=100, act="click")
        # Java alone, so that Homebrew is still missing when the audit looks.
        s.through(s.click, "Install Java directly", "Continue to verify", "Continue to system audit", timeout=30)

        self.look(s, "stage-offers-homebrew", ["System check", "Homebrew missing."])
        s.press(s.find("push button", "Install Homebrew (recommended)"))
        sheet = s.find("dialog", "Installing Homebrew")
        s.wait_for(lambda: len(self.output_lines(s)) > 1, "Homebrew's installer output")
        self.look(s, "homebrew-running")
        # The sheet's own Continue: the page under it has one too.
        s.press(s.wait_for(lambda: s.all("push button", "Continue", root=sheet), "the Homebrew sheet to end", timeout=60)[0])
        s.wait_for(lambda: not s.all("dialog"), "the sheet to close")
        # The page looks at the Mac again and drops what is now there.
        s.wait_gone("push button", "Install Homebrew (recommended)")
        self.assertEqual(s.all("label", "Homebrew missing."), [])
        self.look(s, "stage-after-homebrew")

        self.audit_pages(s, s.press, ["System check", "Try Warp — the AI-aware terminal"])
        self.assertIn(("installed", "Homebrew installed"), self.report_rows(s))
        self.look(s, "report")

    def test_plain_mac_ends_simply(self):
        # Not a developer's Mac: once Java works the visit ends without the audit.
        s = self.start("ends-simply", "java-home-unset", act="press")
        s.through(s.press, "Set JAVA_HOME in ~/.zprofile (recommended)", "Apply", "Continue to verify")
        s.find("label", "Java configured")
        s.press(s.find("push button", "Continue"))
        self.look(s, "java-is-working", ["Java is working", "How are we doing?"])
        self.assertEqual(s.all("label", REPORT), [])
        s.press(s.find("push button", "Done — back to home"))
        self.look(s, "home", buttons=["Diagnose Java"])

    def test_cancel_during_fix(self):
        # Slow enough that the fix is still running however loaded the machine is.
        s = self.start("cancel-during-fix", "developer-no-java", line_pause_ms=1500, act="press")
        for attempt in ("first", "second"):
            s.press(s.find("push button", BREW_FIX))
            s.find("dialog", "Installing Temurin via Homebrew")
            s.wait_for(lambda: self.output_lines(s), "the fix's first output line")
            self.look(s, f"{attempt}-run")
            s.press(s.find("push button", "Cancel"))
            s.wait_for(lambda: not s.all("dialog"), "the sheet to close after Cancel")
            self.look(s, f"{attempt}-canceled", [NOT_INSTALLED])
            self.assertEqual(robot.descendants(s.app.pid), [], "processes of the canceled fix are still running")
            # Past the next line had the fix kept running: no sheet comes back, nothing changes.
            time.sleep(2)
            self.assertEqual(s.all("dialog"), [])
            s.find("label", NOT_INSTALLED, timeout=0)

    def test_password_declined(self):
        s = self.start("password-declined", "password-declined", line_pause_ms=100, act="press")
        # The simulated refusal is instant: the sheet opens and closes again between two looks.
        s.press(s.find("push button", PKG_FIX))
        s.wait_for(lambda: s.sheet_events[-2:] == ["shown", "hidden"], "the sheet to open and close by itself")
        self.assertEqual(s.all("dialog"), [])
        self.look(s, "declined", [NOT_INSTALLED], [PKG_FIX])
        self.assertEqual(s.all("label", "Something went wrong"), [])

    def test_adoptium_offline(self):
        s = self.start("adoptium-offline", "adoptium-offline", act="click")
        s.click(s.find("push button", PKG_FIX))
        s.find("dialog", "Installing Temurin 25 (direct PKG)")
        self.look(s, "failed", buttons=["Open the article"])
        self.assertIn("Error: Could not connect to the server. (pkg: n.a)", self.output_lines(s))
        self.assertEqual(s.all("push button", "Cancel"), [], "Cancel offered after the run ended")

        s.click(s.find("push button", "Close"))
        self.look(s, "error", ["Something went wrong"])
        self.assertTrue(any(text.startswith("Install failed (exit code 1).") for text in s.texts()))
        s.click(s.find("push button", "Back to the diagnosis"))
        self.look(s, "back", buttons=[PKG_FIX])

    def test_healthy_mac(self):
        s = self.start("healthy", "healthy", act="press")
        self.look(s, "no-errors", ["Java is installed", "How are we doing?"], ["Continue to system audit"])
        self.assertEqual([node.name for node in s.all("check box")], [str(n) for n in range(11)])

        s.press(s.find("push button", "Dismiss"))
        s.wait_gone("label", "How are we doing?")
        self.assertEqual(s.all("check box"), [])
        self.look(s, "card-dismissed", buttons=["Continue to system audit"])


if __name__ == "__main__":
    result = unittest.main(exit=False, verbosity=2, warnings=False).result
    sys.exit(1 if not result.wasSuccessful() else 77 if len(result.skipped) == result.testsRun else 0)
