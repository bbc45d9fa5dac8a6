"""Opens a trace file in the Performance panel of Chromium's developer tools and takes its picture.

  trace_screenshot.py TRACE PNG
"""
import os
import sys
import time

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "..", "tests", "browser"))
import browser  # noqa: E402

# The panel's parts are in shadow trees.
DEEP = """(function find(root, test) {
  for (const element of root.querySelectorAll('*')) {
    if (test(element)) return element;
    const inner = element.shadowRoot && find(element.shadowRoot, test);
    if (inner) return inner;
  }
  return null;
})"""


def wait_for(page, expression, seconds=30):
    """Waits until the expression is something, and returns the protocol's handle of it."""
    deadline = time.monotonic() + seconds
    while time.monotonic() < deadline:
        result = page.call("Runtime.evaluate", expression=expression)["result"]
        if result.get("subtype") != "null" and result.get("value") is not False:
            return result
        time.sleep(0.1)
    raise TimeoutError(expression)


def port_of(page):
    deadline = time.monotonic() + 30
    while time.monotonic() < deadline:
        try:
            with open(os.path.join(page.profile, "DevToolsActivePort"), encoding="ascii") as file:
                return file.readline().strip()
        except OSError:
            time.sleep(0.1)
    raise TimeoutError("the browser opened no port")


def click(page, x, y, times=1):
    for count in range(1, times + 1):
        for kind in ("mousePressed", "mouseReleased"):
            page.call("Input.dispatchMouseEvent", type=kind, x=x, y=y, button="left", clickCount=count)
    time.sleep(0.5)


def main():
    trace, picture = sys.argv[1:3]
    # Chromium serves its own developer tools to the one who debugs it.
    browser.FLAGS.append("--remote-debugging-port=0")
    with browser.Browser() as page:
        page.open(f"http://127.0.0.1:{port_of(page)}/devtools/devtools_app.html?panel=timeline", width=1280, height=420)
        chooser = wait_for(page, DEEP + "(document, e => e.tagName === 'INPUT' && e.type === 'file')")
        page.call("DOM.setFileInputFiles", files=[os.path.abspath(trace)], objectId=chooser["objectId"])
        sidebar = DEEP + "(document, e => e.title === 'Hide sidebar')"
        wait_for(page, sidebar)
        time.sleep(1)
        page.evaluate(sidebar + ".click()")
        time.sleep(1)
        # The whole time, then the process and its busiest thread unfolded, and the mouse out of the way.
        click(page, 400, 82, times=2)
        click(page, 10, 129)
        click(page, 20, 146)
        page.call("Input.dispatchMouseEvent", type="mouseMoved", x=640, y=300)
        page.screenshot(picture)


if __name__ == "__main__":
    main()
