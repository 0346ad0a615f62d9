"""What the monkey does to windows."""

import time

import support  # noqa: F401, it finds the harness
import screen

KEYS = ("Tab Tab Tab shift+Tab Return Return Escape space space Up Down Left Right Home End Delete Menu shift+F10 F10 "
        "F9 F1 ctrl+n ctrl+v ctrl+p ctrl+r ctrl+shift+p ctrl+d ctrl+f ctrl+a ctrl+b ctrl+comma ctrl+Tab ctrl+Left "
        "alt+Return alt+Home alt+Up alt+Down alt+End alt+Left alt+F4 alt+y alt+n alt+o alt+a alt+d alt+m Page_Down "
        "BackSpace a b 1 0 . /").split()


class Fault(Exception):
    pass


class Hands:
    """Has `random`, `session`, its display `x`, `servers`, perhaps a `screen`, and in `done` the last steps."""

    def point(self):
        """On a menu that is open, else on a window."""
        found = self.x.menus() or [self.window()]
        left, top, width, height = self.x.place(self.random.choice(found))
        return [min(max(at + self.random.randrange(size or 1), 0), most)
                for at, size, most in ((left, width, 1279), (top, height, 1023))]

    def window(self):
        found = self.session.own_windows()
        return self.random.choice(found)[0] if found else 0

    def keys(self):
        self.x.keys(*self.random.choices(KEYS, k=self.random.randint(1, 6)))

    def text(self):
        text = self.random.choice((self.servers.any(self.random), self.servers.honest(self.random), "joe", "-1", "*.bin"))
        self.x.keys("ctrl+a", *("Return" if c == "\n" else c for c in text[:200] if " " <= c < "\x7f" or c == "\n"))

    def click(self):
        self.x.click(*self.point(), self.random.choice((1, 1, 1, 1, 3, 3, 2, 4, 5)), self.random.choice((1, 1, 2)))

    def element(self):
        """Clicks something that assistive technology finds."""
        if not self.screen:
            self.click()
            return
        try:
            found = self.screen.elements()
        except ValueError:  # its reader ends if a window vanishes at the wrong moment
            self.screen.close()
            self.screen = screen.Screen(self.session)
            return
        if any(each.role.endswith("menu item") and not each.name for each in found):
            raise Fault("a menu item without a name")
        found = [each for each in found if "ENABLED" in each.states and 0 <= each.middle[0] < 1280 and each.role not in (
            "frame", "dialog", "filler", "panel", "label")]
        if found:
            chosen = self.random.choice(found)
            self.done.append(repr(chosen))
            self.x.click(*chosen.middle, self.random.choice((1, 1, 1, 3)), self.random.choice((1, 1, 1, 2)))

    def icon(self):
        self.x.click(1265, 1011, self.random.choice((1, 3, 3)), self.random.choice((1, 2)))

    def drag(self):
        self.x.move(*self.point())
        self.x.button(1, True)
        for _ in range(self.random.randint(1, 4)):
            self.x.move(*self.point())
            time.sleep(0.05)
        self.x.keys(*["Escape"] * self.random.choice((0, 0, 0, 1)))
        self.x.button(1, False)

    def shape(self):
        window, side = self.window(), self.random.choice((1, 60, 400, 1000, 5000))
        self.random.choice((
            lambda: self.x.configure(window, width=side, height=self.random.choice((1, 300, 900, 5000))),
            lambda: self.x.configure(window, x=self.random.randrange(-300, 1300), y=self.random.randrange(-300, 1000)),
            lambda: self.x.minimise(window), lambda: self.x.ask_manager(window, "_NET_ACTIVE_WINDOW", 2, 0, 0)))()

    def shut(self):
        self.x.ask_manager(self.window(), "_NET_CLOSE_WINDOW", 0, 2)

    def options(self):
        self.x.keys("ctrl+comma")
        time.sleep(1)
        self.x.keys(*["ctrl+Tab"] * self.random.randrange(8))
        self.x.keys(*self.random.choices(("Tab", "space", "Down", "Up", "Right", "5"), k=self.random.randint(1, 15)))
        self.x.keys(self.random.choice(("Return", "Escape")))
