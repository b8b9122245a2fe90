#!/usr/bin/python3
"""Opens pages of `report` in a browser, as on a phone and on a desk, and holds what is seen, said and run against the
device. Pictures of the sample device stay in the build directory: report-phone.png, report-desktop.png and others."""

import json
import os
import re
import shlex
import shutil
import subprocess
import sys
import tempfile

import browser
import database_server

SOURCE, BUILD, TOOL, RUNNER = sys.argv[1:]
PHONE = {"width": 390, "height": 844, "phone": True}
DESK = {"width": 1280, "height": 900}
CAPTIONS = ["The managed sensors and their values in the database", "The definitions in force",
            "Custom definitions that hide default ones, and what they change",
            "Everything that is wrong with storages, definitions and the list, and what is worth knowing",
            "The last operations on the custom storage, the newest first"]
SEARCH = "Search all tables"
faults = []

# The smallest contrast of a text with what is behind it, and that text.
CONTRAST = """(() => {
  const numbers = color => color.match(/[\\d.]+/g).map(Number);
  const light = color => numbers(color).slice(0, 3).map(c => c / 255)
    .map(c => c <= 0.04045 ? c / 12.92 : ((c + 0.055) / 1.055) ** 2.4)
    .reduce((sum, c, at) => sum + c * [0.2126, 0.7152, 0.0722][at], 0);
  const behind = one => {
    for (; one; one = one.parentElement) {
      const color = getComputedStyle(one).backgroundColor;
      if (color !== "transparent" && numbers(color)[3] !== 0) return light(color);
    }
    return 1;
  };
  return Array.from(document.body.querySelectorAll("*"))
    .filter(one => one.checkVisibility() && Array.from(one.childNodes).some(n => n.nodeType === 3 && n.data.trim()))
    .map(one => {
      const [a, b] = [light(getComputedStyle(one).color), behind(one)];
      return [(Math.max(a, b) + 0.05) / (Math.min(a, b) + 0.05), one.textContent.slice(0, 40)];
    }).sort((a, b) => a[0] - b[0])[0];
})()"""

SHOWN_ROWS = "Array.from(document.querySelectorAll('tbody tr')).filter(r => r.checkVisibility()).length"


def expect(true, *what):
    if not true:
        faults.append(" ".join(str(one) for one in what))


class Device:
    """A device in a directory, whose tool writes pages."""

    def __init__(self, root):
        self.root = root

    def path(self, name):
        return os.path.join(self.root, name)

    def tool(self, *words):
        options = [f"--default-dir={self.path('default')}", f"--custom-dir={self.path('custom')}",
                   f"--staging-dir={self.path('staging')}", f"--map={self.path('sensors_map.json')}",
                   f"--socket={self.path('redis.sock')}", f"--codec-runner={self.path('codec-runner')}"]
        return subprocess.run([*shlex.split(TOOL), *options, *words], capture_output=True, check=True)

    def page(self, name):
        self.tool("report", self.path(name))
        return self.path(name)

    def store(self, key, *fields):
        subprocess.run(["redis-cli", "-s", self.path("redis.sock"), "-n", "2", "-x", "HSET", key, *fields[:-1]],
                       input=fields[-1].encode("utf-8", "surrogateescape"), check=True, stdout=subprocess.DEVNULL)


def make_runner(device):
    """Copies the runner: its user may not enter every directory of a build."""
    *emulator, program = shlex.split(RUNNER)
    os.chmod(device.root, 0o755)
    shutil.copy(program, device.path("codec-runner-duktape"))
    with open(device.path("codec-runner"), "w") as script:
        script.write(f"#!/bin/sh\nexec {' '.join(emulator)} {device.path('codec-runner-duktape')}\n")
    os.chmod(device.path("codec-runner"), 0o755)


# --- the sample device


def make_sample(root):
    device = Device(root)
    shutil.copytree(f"{SOURCE}/examples/storages/default", device.path("default"))
    shutil.copytree(f"{SOURCE}/examples/storages/custom", device.path("custom"))
    shutil.copytree(f"{SOURCE}/examples/upload", device.path("upload"))
    shutil.copy(f"{SOURCE}/examples/sensors_map.json", root)
    make_runner(device)
    device.tool("install", device.path("upload"), "--allow-overwrite")
    device.tool("remove", "lora/acme/gas7")
    return device


def store_sample(device):
    for sensor, port, uplink in (("02A1F00000007411", "10", "00D77B0CD8"), ("02a1f0000000e020", "2", "40E20100F0001900"),
                                 ("02a1f00000005013", "8", "00EB01190136046501A40DD5")):
        device.tool("decode", "lora", sensor, "--port", port, uplink, "--store")
    device.store("lora@02a1f0000000d001", "battery", "3.3V", "count", "17")
    device.store("lora@02a1f00000007ac2", "spare", "1")


def check_words(page, kind):
    text = page.text()
    for words in ("Cold-store temperature", "2.15 °C", "3288 mV", "61.5 %", "1 d 12 h", "1 bad value", "undeclared",
                  "which is not of the type uint32.", "no definition", "no values", "missing: Door open, ", "no declared value", "lora/demo/th1", "list/duplicate",
                  "Remove one of the two elements", "installed lora/acme/gas7", "removed lora/acme/gas7"):
        expect(words in text, kind, "does not show", words)
    expect(page.evaluate("document.title").startswith("Sensors of "), kind, "has another title")


def check_accessibility(page, kind):
    tables = [name for name, _ in page.accessible("table")]
    expect(tables == CAPTIONS, kind, "has the tables", tables)
    expect([name for name, _ in page.accessible("searchbox")] == [SEARCH], kind, "has no labelled search field")
    for role, count in (("banner", 1), ("main", 1), ("search", 1), ("navigation", 1), ("region", 4), ("caption", 5)):
        found = len(page.accessible(role))
        expect(found == count, kind, "has", found, role)
    levels = [(properties["level"], name) for name, properties in page.accessible("heading")]
    expect([level for level, _ in levels] == [1, 2, 2, 2, 2], kind, "has the headings", levels)
    rows = [name for name, _ in page.accessible("rowheader")]
    expect(any(name.endswith("lora@02a1f00000007411") for name in rows), kind, "has the row headings", rows)
    columns = [name for name, _ in page.accessible("columnheader")]
    expect(columns[:6] == ["Sensor", "Definition", "State", "Age", "Expires in", "Values"], kind, "has", columns)
    links = {name: properties["url"].partition("#")[2] for name, properties in page.accessible("link")}
    expect([page.evaluate(f"!!document.getElementById('{target}')") for target in links.values()] == [True] * 4,
           kind, "has the links", links)


def check_search(page, kind):
    everything = page.evaluate(SHOWN_ROWS)
    page.type("search", "DOOR1 3.3v")
    expect(page.evaluate(SHOWN_ROWS) == 1, kind, "shows", page.evaluate(SHOWN_ROWS), "rows for the sensor searched for")
    expect("lora@02a1f0000000d001" in page.text(), kind, "does not show the sensor that was searched for")
    status = [name for name, _ in page.accessible("status")]
    expect(f"1 of {everything} rows" in page.text() and len(status) == 1, kind, "does not tell what was found")
    page.type("search", "nothing has these words")
    expect(page.evaluate(SHOWN_ROWS) == 0, kind, "shows rows without the words")
    page.type("search", "")
    page.evaluate("document.activeElement.blur()")
    expect(page.evaluate(SHOWN_ROWS) == everything, kind, "does not show all again")


def check_quiet(page, file, kind):
    expect(not page.complaints, kind, "complains:", json.dumps(page.complaints)[:2000])
    expect(not page.dialogs, kind, "opened dialogs:", page.dialogs)
    asked = {url for url in page.requests if url != "about:blank"}
    expect(asked == {f"file://{file}"}, kind, "asked for", asked)


def check_width(page, kind):
    width, room = page.evaluate("[document.scrollingElement.scrollWidth, document.documentElement.clientWidth]")
    expect(width <= room, kind, "is", width, "wide in", room)
    wide = page.evaluate("""Array.from(document.querySelectorAll("body *")).filter(one => one.checkVisibility() &&
        !one.closest("thead") && one.getBoundingClientRect().right > innerWidth + 1).map(one => one.outerHTML.slice(0, 80))""")
    expect(not wide, kind, "has elements beyond its edge:", wide[:3])


def check_contrast(page, kind):
    contrast, text = page.evaluate(CONTRAST)
    expect(contrast >= 4.5, kind, f"has a contrast of {contrast:.2f} at", text)


def check_sample(page, file, size, name):
    page.emulate()
    page.open(file, **size)
    check_words(page, name)
    check_accessibility(page, name)
    check_search(page, name)
    check_width(page, name)
    check_contrast(page, name)
    page.picture(f"{BUILD}/report-{name}.png")
    page.emulate(scheme="dark")
    check_contrast(page, name + ", dark,")
    page.picture(f"{BUILD}/report-{name}-dark.png")
    check_quiet(page, file, name)


def check_print(page, file):
    page.emulate(media="print", scheme="dark")
    page.open(file, **DESK)
    style = "getComputedStyle(document.querySelector('{}')).{}"
    for element, member, value in ((".search", "display", "none"), ("thead", "display", "table-header-group"),
                                   ("tbody tr", "breakInside", "avoid"), ("body", "backgroundColor", "rgb(255, 255, 255)")):
        found = page.evaluate(style.format(element, member))
        expect(found == value, "on paper", element, "has", member, found)
    with open(f"{BUILD}/report.pdf", "wb") as pdf:
        pdf.write(page.pdf())
    page.emulate()
    pages = subprocess.run(["pdftotext", "-layout", f"{BUILD}/report.pdf", "-"], capture_output=True, text=True,
                           check=True).stdout.rstrip("\f").split("\f")
    expect(len(pages) > 2, "on paper there are only", len(pages), "pages")
    headed = [number for number, text in enumerate(pages) if re.search(r"^ *Sensor +Definition +State", text, re.M)]
    rows = [number for number, text in enumerate(pages) if re.search(r"lora@sensor\d", text)]
    expect(len(rows) > 1 and headed == rows, "on paper the pages", rows, "have sensors,", headed, "have headings")
    expect(SEARCH not in "".join(pages), "on paper there is a search field")


def check_without_script(page, file):
    page.call("Emulation.setScriptExecutionDisabled", value=True)
    page.open(file, **DESK)
    check_words(page, "without scripts")
    expect(SEARCH not in page.text(), "without scripts there is a search field that does nothing")
    page.call("Emulation.setScriptExecutionDisabled", value=False)


# --- a hostile device

HOSTILE = ["<script>alert(1)</script>", "\"><img src=x onerror=alert(2)>", "'><svg onload=alert(3)>", "</style><script>alert(4)</script>",
           "--><script>alert(5)</script>", "</table></main><iframe src=javascript:alert(6)>", "a\u2028alert(7)", "b\u202ec\u2066d",
           "e\0f", "&lt;g&gt;&#60;h", "]]><i>j", "javascript:alert(8)", "<base href=//k>", "<a href=x>" * 20]
NAMES = [one for one in HOSTILE if "/" not in one and "\0" not in one]


def write_hostile(device):
    properties = {text: {"name": text, "unit": text, "type": text, "min": text} for text in HOSTILE}
    properties |= {f"plain {number}": {"unit": text} for number, text in enumerate(HOSTILE)}
    for number, name in enumerate(NAMES):
        for storage in ("default", "custom"):
            directory = device.path(f"{storage}/lora/{name}")
            os.makedirs(directory)
            with open(f"{directory}/{name}.js", "w") as decoder:
                decoder.write(f"function decodeUplink(input) {{ throw {json.dumps(HOSTILE[number] + storage)}; }}\n")
            members = {"decoder": f"{name}.js", "properties": properties, "title": HOSTILE[number] + storage,
                       "examples": [{"description": name, "input": {"fPort": 1, "bytes": [1]}, "output": {"data": {}}}]}
            with open(f"{directory}/{name}.json", "w") as definition:
                json.dump(members, definition, ensure_ascii=False)
    sensors = [{"id": name, "src": "lora", "sensor": f"{name}/{name}"} for name in NAMES]
    sensors += [{"id": name, "src": name, "sensor": name} for name in HOSTILE]
    with open(device.path("sensors_map.json"), "w") as file:
        json.dump(sensors, file)
    os.makedirs(device.path("custom.generations"))
    with open(device.path("custom.generations/history"), "w") as history:
        for number, text in enumerate(HOSTILE):
            changes = [{"change": text, "name": text, "content": text}]
            history.write(json.dumps({"number": number, "time": text, "user": text, "operation": text,
                                      "definitions": changes}) + "\n")


def store_hostile(device):
    for name in NAMES:
        for text in HOSTILE:
            if "\0" not in text:
                device.store(f"lora@{name.lower()}", text, text)
        device.store(f"lora@{name.lower()}", "bytes", "l\udcffm\0n")


def check_hostile(page, device, size, name):
    file = device.path("hostile.html")
    page.open(file, **size)
    elements = page.evaluate("Array.from(new Set(Array.from(document.querySelectorAll('*'), e => e.localName))).sort()")
    known = {"html", "head", "meta", "title", "style", "body", "header", "h1", "h2", "p", "nav", "ul", "li", "a", "div",
             "label", "input", "output", "main", "section", "table", "caption", "thead", "tbody", "tr", "th", "td", "span",
             "dl", "dt", "dd", "pre", "ins", "del", "code", "script"}
    expect(set(elements) <= known, name, "has the elements", set(elements) - known)
    names = set(page.evaluate("Array.from(document.querySelectorAll('*')).flatMap(e => e.getAttributeNames())"))
    expect(not [one for one in names if one.startswith("on") or one in ("src", "style", "srcdoc")], name, "has", names)
    expect(page.evaluate("document.scripts.length") == 1, name, "has more than one script")
    expect(set(page.evaluate("Array.from(document.links, a => a.getAttribute('href'))")) ==
           {"#sensors", "#definitions", "#faults", "#history"}, name, "has other links")
    text = page.text()
    for shown in ("<script>alert(1)</script>", "\"><img src=x onerror=alert(2)>", "a\\xe2\\x80\\xa8alert(7)",
                  "b\\xe2\\x80\\xaec\\xe2\\x81\\xa6d", "e\\x00f", "&lt;g&gt;&#60;h", "l\\xffm\\x00n"):
        expect(shown in text, name, "does not show", shown)
    check_width(page, name)
    check_quiet(page, file, name)
    page.picture(f"{BUILD}/report-{name}.png", height=3000)


def write_many(device):
    """Sensors for some sheets of paper."""
    sensors = [{"id": f"sensor{number}", "src": "lora", "sensor": "demo/th1"} for number in range(60)]
    with open(device.path("sensors_map.json"), "w") as file:
        json.dump(sensors, file)
    for one in sensors:
        device.store(f"lora@{one['id']}", "temperature", "21.5", "humidity", "50", "battery", "3300")


# --- all


def with_device(make, work):
    with tempfile.TemporaryDirectory() as root:
        device = make(root)
        with database_server.running_in(root):
            work(device)


def on_page(work):
    """A browser may crash on a busy machine. A page that makes it crash does so again."""
    for attempt in (1, 2):
        try:
            with tempfile.TemporaryDirectory(ignore_cleanup_errors=True) as profile, browser.Page(profile) as page:
                work(page)
            return
        except browser.Ended as ended:
            if attempt == 2:
                raise
            print(f"{ended}; once more", file=sys.stderr)


def check_sample_device(device):
    store_sample(device)
    file = device.page("report.html")
    for size, name in ((PHONE, "phone"), (DESK, "desktop")):
        on_page(lambda page: check_sample(page, file, size, name))

    def rest(page):
        check_without_script(page, file)
        page.open(file, **DESK)
        page.picture(f"{BUILD}/report-docs.png", height=830)
        write_many(device)
        check_print(page, device.page("many.html"))
    on_page(rest)


def make_hostile(root):
    device = Device(root)
    make_runner(device)
    write_hostile(device)
    return device


def check_hostile_device(device):
    store_hostile(device)
    device.page("hostile.html")
    for size, name in ((PHONE, "hostile-phone"), (DESK, "hostile-desktop")):
        on_page(lambda page: check_hostile(page, device, size, name))


with_device(make_sample, check_sample_device)
with_device(make_hostile, check_hostile_device)
sys.exit("\n".join(faults) if faults else 0)
