"""The page in a headless Chromium, driven by Selenium.

usage: test_page.py SITE LIBRARY.so SCREENSHOT_FOLDER [Page.TEST...]
"""
import base64
import ctypes
import functools
import http.server
import os
import re
import struct
import sys
import tempfile
import threading
import time
import unittest
import zlib

from selenium import webdriver
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys
from selenium.webdriver.support.wait import WebDriverWait

SITE, LIBRARY, SHOTS = (os.path.abspath(name) for name in sys.argv[1:4])
library = ctypes.CDLL(LIBRARY)


class Quiet(http.server.SimpleHTTPRequestHandler):
    def log_message(self, *_):
        pass


def png(width, height, rows, depth=8, kind=6):
    """A PNG whose rows, given with their filter bytes, are `rows`."""
    def chunk(name, data):
        return struct.pack(">I", len(data)) + name + data + struct.pack(">I", zlib.crc32(name + data))
    head = struct.pack(">IIBBBBB", width, height, depth, kind, 0, 0, 0)
    return b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", head) + chunk(b"IDAT", zlib.compress(rows)) + chunk(b"IEND", b"")


def filtered(pixels, width, height):
    """RGBA rows under the five filters of PNG, one after the other."""
    pitch, out = 4 * width, bytearray()
    for y in range(height):
        out.append(y % 5)
        for x in range(pitch):
            def at(dx, dy):
                return pixels[(y - dy) * pitch + x - 4 * dx] if x >= 4 * dx and y >= dy else 0
            a, b, c = at(1, 0), at(0, 1), at(1, 1)
            nearest = min((abs(b - c), 0, a), (abs(a - c), 1, b), (abs(a + b - 2 * c), 2, c))[2]
            guess = (0, a, b, (a + b) // 2, nearest)[y % 5]
            out.append((at(0, 0) - guess) & 255)
    return bytes(out)


class Page(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        handler = functools.partial(Quiet, directory=SITE)
        cls.server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), handler)
        threading.Thread(target=cls.server.serve_forever, daemon=True).start()
        cls.address = f"http://127.0.0.1:{cls.server.server_port}/"
        cls.profile = tempfile.TemporaryDirectory(ignore_cleanup_errors=True)
        options = webdriver.ChromeOptions()
        for flag in ("headless", "no-sandbox", "disable-gpu", "disable-dev-shm-usage", "disable-background-networking",
                     "disable-component-update", "disable-sync", "no-first-run", f"user-data-dir={cls.profile.name}"):
            options.add_argument("--" + flag)
        options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
        cls.driver = webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)

    @classmethod
    def tearDownClass(cls):
        cls.driver.quit()
        cls.server.shutdown()
        cls.profile.cleanup()

    def setUp(self):
        self.open(1280)

    def tearDown(self):
        severe = [entry["message"] for entry in self.driver.get_log("browser") if entry["level"] == "SEVERE"]
        self.assertEqual(severe, [])

    def open(self, width, address=None):
        self.driver.execute_cdp_cmd("Emulation.setDeviceMetricsOverride",
                                    {"width": width, "height": 900, "deviceScaleFactor": 1, "mobile": False})
        self.driver.get(address or self.address)
        self.wait(lambda: self.find("stage").is_displayed() or self.text("message"))

    def wait(self, condition):
        WebDriverWait(self.driver, 30, 0.05).until(lambda _: condition())

    def find(self, name):
        return self.driver.find_element(By.ID, name)

    def text(self, name):
        return self.find(name).text

    def choose(self, name, value):
        self.driver.find_element(By.CSS_SELECTOR, f"input[name={name}][value='{value}']").click()

    def drop(self, *files):
        """Files, as (name, bytes), on the page."""
        encoded = [[name, base64.b64encode(data).decode()] for name, data in files]
        self.driver.execute_script("""
            const dataTransfer = new DataTransfer();
            for (const [name, text] of arguments[0])
                dataTransfer.items.add(new File([Uint8Array.from(atob(text), (c) => c.charCodeAt(0))], name, {type: "image/png"}));
            document.getElementById("stage").dispatchEvent(new DragEvent("drop", {dataTransfer, bubbles: true, cancelable: true}));
        """, encoded)

    def numbers(self):
        """Of the pixel under the probe: x, y, matte or None, and the bytes of background, foreground and result."""
        text = self.text("pixel")
        x, y = map(int, re.search(r"x (\d+), y (\d+)", text).groups())
        matte = re.search(r"matte (\d+)", text)
        four = [bytes(map(int, re.search(name + r" ([\d, ]+)", text).group(1).split(","))) for name in
                ("background", "foreground", "result")]
        return (x, y, matte and int(matte.group(1)), *four)

    def test_self_test(self):
        self.assertEqual(self.text("selftest"), "29 of 29: the same bytes as on Linux and Windows")
        self.wait(lambda: re.search(r"ms a frame of 1280 × 720; a plain JavaScript loop takes \d", self.text("speed")))

    def test_controls_move_the_pixels_as_the_linux_library_says(self):
        self.assertTrue(self.find("opacity").is_displayed())
        slider, results = self.find("opacity"), set()
        pictures = [self.find("stage").screenshot_as_base64]
        for family in ("blend", "lblend", "sblend"):
            self.choose("family", family)
            for variant in ("", "t", "m", "mt", "mlt"):
                self.choose("variant", variant)
                slider.send_keys(Keys.ARROW_LEFT * 3) if "t" in variant else None
                knob = self.driver.find_elements(By.CSS_SELECTOR, "#knobs input")[4]
                knob.send_keys(Keys.ARROW_LEFT * 9) if "l" in variant else None
                opacity, top = int(slider.get_attribute("value")), int(knob.get_attribute("value"))
                _, _, matte, bg, fg, result = self.numbers()
                args, out = [], ctypes.create_string_buffer(4)
                if "m" in variant:
                    args.append(ctypes.create_string_buffer(bytes([matte]), 1))
                if "l" in variant:
                    table = [round(i) for i in range(193)] + [round(192 + (top - 192) * (i - 192) / 63) for i in range(193, 256)]
                    args.append(ctypes.create_string_buffer(bytes(table), 256))
                if "t" in variant:
                    args.append(opacity)
                getattr(library, f"qx_{family}{variant and '_'}{variant}")(out, bg, fg, 1, *args)
                self.assertEqual(result, out.raw, f"{family} {variant} {opacity}")
                self.assertIn("gives the same", self.text("verdict"))
                results.add(result)
            pictures.append(self.find("stage").screenshot_as_base64)
        self.assertGreater(len(results), 8)
        self.assertEqual(len(set(pictures)), 4)

    def test_dropped_pictures_keep_every_byte(self):
        width, height = 6, 5  # of 6, the last but one pixel takes the last one's foreground
        # Of few values, so that the fifth filter has to choose between equals.
        pixels = [bytes((i * i * k + i // 3) % 7 * 30 + 20 for i in range(4 * width * height)) for k in (5, 11)]
        self.drop(*((f"{k}.png", png(width, height, filtered(pixels[k], width, height))) for k in (0, 1)))
        stage = self.find("stage")
        self.wait(lambda: stage.get_attribute("width") == "6" and self.numbers()[3] in
                  [pixels[0][i:i + 4] for i in range(0, 120, 4)])
        self.wait(lambda: self.numbers()[4] != bytes(4))
        stage.send_keys(Keys.SHIFT, Keys.ARROW_LEFT, Keys.ARROW_UP)
        for y in range(height):
            for x in range(width):
                got = self.numbers()
                bg, fg = 4 * (y * width + x), 4 * (y * width + (x + 1 if x == width - 2 else x))
                self.assertEqual(got[:2] + got[3:5], (x, y, pixels[0][bg:bg + 4], pixels[1][fg:fg + 4]))
                self.assertIn("gives the same", self.text("verdict"))
                stage.send_keys(Keys.ARROW_RIGHT)
            stage.send_keys(Keys.SHIFT, Keys.ARROW_LEFT)
            stage.send_keys(Keys.ARROW_DOWN)
        self.assertEqual(self.text("message"), "")

    def test_wrong_files_get_a_sentence(self):
        before = self.text("pixel")
        good = png(1, 1, bytes([0, 1, 2, 3, 4]))
        for name, data, words in (("notes.txt", b"hello", "notes.txt is no picture"), ("cut.png", good[:-20], "no whole PNG"),
                                  ("short.png", png(2, 2, bytes(9)), "do not fill"), ("large.png", png(5000, 5000, b""), "16 million")):
            self.drop((name, data))
            self.wait(lambda: words in self.text("message"))
            self.assertEqual(self.text("pixel"), before)
        self.find("kernel").send_keys("v210")
        with tempfile.NamedTemporaryFile(suffix=".v210") as file:
            file.write(bytes(100))
            file.flush()
            self.find("v210-file").send_keys(file.name)
            self.wait(lambda: "no whole number of rows" in self.text("message"))
        self.drop(("deep.png", png(1, 1, bytes([0, 9, 9, 9, 9, 9, 9, 99, 99]), depth=16)))
        self.wait(lambda: "1 translucent pixels" in self.text("message"))

    def test_a_picture_of_one_pixel(self):
        self.drop(*[("1.png", png(1, 1, bytes([0, 1, 2, 3, 4])))] * 2)
        self.wait(lambda: self.numbers()[4] == bytes([1, 2, 3, 4]))
        for option in self.find("kernel").find_elements(By.TAG_NAME, "option"):
            option.click()
            self.assertTrue(self.text("other-note"), option.text)
        self.assertIn("gives the same", self.text("verdict"))

    def test_v210_file_is_unpacked(self):
        samples = [(i * 171) & 1023 for i in range(12)]  # one block: Cb0 Y0 Cr0 Y1 Cb1 Y2 and so on
        words = [samples[i] | samples[i + 1] << 10 | samples[i + 2] << 20 for i in range(0, 12, 3)]
        self.find("kernel").send_keys("v210")
        self.driver.execute_script("arguments[0].value = 6", self.find("v210-width"))
        with tempfile.NamedTemporaryFile(suffix=".v210") as file:
            file.write(struct.pack("<4I", *words) * 2)
            file.flush()
            self.find("v210-file").send_keys(file.name)
            first = ", ".join(str(sample) for sample in samples[1::2])
            self.wait(lambda: "6 × 2 pixels of v210, unpacked" in self.text("other-note"))
            self.assertIn(first, self.text("other-note"))

    def test_every_other_kernel_answers(self):
        pictures = set()
        for option in self.find("kernel").find_elements(By.TAG_NAME, "option"):
            option.click()
            if self.find("amount").is_displayed():
                self.find("amount").send_keys(Keys.ARROW_RIGHT)
            self.assertEqual(self.text("message"), "")
            self.assertTrue(self.text("other-note"), option.text)
            pictures.add(self.find("other").screenshot_as_base64)
        self.assertEqual(len(pictures), 9)

    def test_matte_from_a_file(self):
        row = b"\0" + bytes((200, 100, 50, 255)) * 1280
        with tempfile.NamedTemporaryFile(suffix=".png") as file:
            file.write(png(1280, 720, row * 720))
            file.flush()
            self.find("matte-file").send_keys(file.name)
            self.wait(lambda: self.numbers()[2] == (200 * 77 + 100 * 150 + 50 * 29) // 256)

    def test_divider_shows_more_of_the_background(self):
        before = self.find("stage").screenshot_as_base64
        self.find("divider").send_keys(Keys.END)
        self.assertNotEqual(before, self.find("stage").screenshot_as_base64)

    def test_pointing_and_dragging(self):
        stage = self.find("stage")
        scale = 1280 / stage.size["width"]
        ActionChains(self.driver).move_to_element_with_offset(stage, 100, 50).perform()
        x, y = self.numbers()[:2]
        self.assertAlmostEqual(x, 640 + 100 * scale, delta=2)
        self.assertAlmostEqual(y, 360 + 50 * scale, delta=2)
        ActionChains(self.driver).click_and_hold().move_by_offset(100, 0).release().perform()
        self.assertAlmostEqual(float(self.find("divider").get_attribute("value")), (640 + 200 * scale) / 12.8, delta=1)
        self.assertEqual(self.numbers()[:2], (x, y))

    def test_everything_has_a_name_and_fits(self):
        for width in (1280, 390):
            self.open(width)
            self.choose("variant", "mlt")
            for element in self.driver.find_elements(By.CSS_SELECTOR, "input, select, [tabindex]"):
                if not element.is_displayed():
                    continue
                self.assertTrue(element.accessible_name, element.get_attribute("outerHTML"))
            self.assertLessEqual(self.driver.execute_script("return document.documentElement.scrollWidth"), width)
            self.wait(lambda: "ms a frame" in self.text("speed"))
            size = self.driver.execute_cdp_cmd("Page.getLayoutMetrics", {})["cssContentSize"]
            shot = self.driver.execute_cdp_cmd("Page.captureScreenshot", {
                "captureBeyondViewport": True, "clip": {"x": 0, "y": 0, "width": width, "height": size["height"], "scale": 1}})
            with open(os.path.join(SHOTS, f"page-{width}.png"), "wb") as file:
                file.write(base64.b64decode(shot["data"]))

    def test_where_it_cannot_run_it_says_so(self):
        script = self.driver.execute_cdp_cmd("Page.addScriptToEvaluateOnNewDocument",
                                             {"source": "WebAssembly.validate = () => false"})
        self.open(1280)
        self.assertIn("no WebAssembly SIMD", self.text("message"))
        self.driver.execute_cdp_cmd("Page.removeScriptToEvaluateOnNewDocument", script)
        self.open(1280, "file://" + os.path.join(SITE, "index.html"))
        self.assertIn("opened from a file", self.text("message"))
        self.driver.get_log("browser")  # which has the refusals


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[4:]], verbosity=2)
