"""A real Chromium without a screen and without a network, and the page in it as a user meets it."""
import shutil
import tempfile
import time

from selenium import webdriver
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.by import By

OPTIONS = ("--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
           "--disable-background-networking", "--disable-component-update", "--disable-sync",
           "--host-resolver-rules=MAP * ~NOTFOUND, EXCLUDE 127.0.0.1")
LIMIT = 20  # seconds

# Before the page's own script: how long each frame's work took, all of it together, how far apart the browser's frames
# came, and what the policy refused.
WATCH = """
window.frames_ = [];
window.gaps_ = [];
{
  let last = null;
  const tick = (now) => {
    if (last !== null) window.gaps_.push(now - last);
    last = now;
    tickAgain(tick);
  };
  const tickAgain = window.requestAnimationFrame.bind(window);
  tickAgain(tick);
}
const plain = window.requestAnimationFrame.bind(window);
let frame_ = null;
window.requestAnimationFrame = (work) => plain((now) => {
  const begin = performance.now();
  work(now);
  const took = performance.now() - begin;
  if (now === frame_ && window.frames_.length > 0) window.frames_[window.frames_.length - 1] += took;
  else window.frames_.push(took);
  frame_ = now;
});
window.refused_ = [];
document.addEventListener("securitypolicyviolation", (event) => window.refused_.push(event.violatedDirective));
"""


class Browser:
    def __init__(self):
        self.folder = tempfile.mkdtemp(prefix="tarnel-page-")
        options = webdriver.ChromeOptions()
        for option in (*OPTIONS, "--user-data-dir=" + self.folder):
            options.add_argument(option)
        options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
        self.driver = webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)
        self.driver.set_page_load_timeout(LIMIT)
        self.driver.execute_cdp_cmd("Page.addScriptToEvaluateOnNewDocument", {"source": WATCH})
        self.resize(1400, 900)

    def close(self):
        self.driver.quit()
        shutil.rmtree(self.folder, ignore_errors=True)

    def resize(self, width, height):
        self.driver.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", {
            "width": width, "height": height, "deviceScaleFactor": 1, "mobile": False})

    def prefer(self, scheme):
        self.driver.execute_cdp_cmd("Emulation.setEmulatedMedia", {
            "features": [{"name": "prefers-color-scheme", "value": scheme}]})

    def offline(self, on):
        self.driver.execute_cdp_cmd("Network.emulateNetworkConditions", {
            "offline": on, "latency": 0, "downloadThroughput": -1, "uploadThroughput": -1})

    def open(self, address, view=""):
        self.driver.get("about:blank")
        self.driver.get_log("browser")
        self.driver.get(address + ("#" + view if view else ""))

    def errors(self):
        """What the console says, but for what it says of tests that look at pixels."""
        return [entry["message"] for entry in self.driver.get_log("browser") if "willReadFrequently" not in entry["message"]]

    def run(self, script, *arguments):
        return self.driver.execute_script(script, *arguments)

    def element(self, selector):
        return self.driver.find_element(By.CSS_SELECTOR, selector)

    def elements(self, selector):
        return self.driver.find_elements(By.CSS_SELECTOR, selector)

    def text(self, selector):
        """Of the first such element; nothing of one that is not there."""
        return self.run("return document.querySelector(arguments[0])?.textContent ?? ''", selector)

    def texts(self, selector):
        return self.run("return [...document.querySelectorAll(arguments[0])].map((e) => e.textContent)", selector)

    def click(self, selector):
        self.element(selector).click()

    def keys(self, *keys):
        """Pressed wherever the focus is."""
        for key in keys:
            ActionChains(self.driver).send_keys(key).perform()

    def wait(self, condition, what):
        end = time.monotonic() + LIMIT
        while time.monotonic() < end:
            value = condition()
            if value:
                return value
            time.sleep(0.02)
        raise AssertionError(f"waited in vain for {what}")

    def place(self, track, time_, view, share=0.5):
        """Where on the screen a row has a time. `share`: how far down in the row."""
        return self.run("""
            const [track, time, from, to, share] = arguments;
            const plot = document.getElementById("plot").getBoundingClientRect();
            const row = document.querySelector(`[data-track="${track}"]`);
            row.scrollIntoView({block: "nearest"});
            const box = row.getBoundingClientRect();
            return [plot.left + (time - from) / (to - from) * plot.width, box.top + box.height * share];""",
                        track, time_, *view, share)

    def mouse(self, x, y, kind="mouseMoved", **more):
        self.driver.execute_cdp_cmd("Input.dispatchMouseEvent", {"type": kind, "x": x, "y": y, **more})

    def press(self, x, y, count=1):
        """One click with the left button; `count` 2 is the second of a double click."""
        self.mouse(x, y)
        for kind in ("mousePressed", "mouseReleased"):
            self.mouse(x, y, kind, button="left", clickCount=count)

    def tip(self, track, time_, view):
        """The text beside the pointer when it rests on a time of a row, without the thin spaces in its numbers."""
        x, y = self.place(track, time_, view)
        self.mouse(5, 5)
        self.mouse(x, y)
        self.wait(lambda: self.element("#tip").is_displayed(), f"a tip of {track}")
        return self.text("#tip").replace("\u2009", "")

    def wheel(self, x, y, delta):
        self.mouse(x, y, "mouseWheel", deltaX=0, deltaY=delta)
