"""What pyproject.toml cannot say: the version, which stands in the header, and the kind of the wheel, which holds a
library of one platform, and Python of any version."""

import re
import sys
from pathlib import Path

from setuptools import Distribution, setup
from wheel.bdist_wheel import bdist_wheel

here = Path(__file__).parent
header = (here / "../../include/qxpixlib.h").read_text()


class ForOnePlatform(Distribution):
    def has_ext_modules(self):
        return True


class ForAnyPython(bdist_wheel):
    def get_tag(self):
        return "py3", "none", super().get_tag()[2]


if not any(here.glob("qxpixlib/*qxpixlib.*")):
    sys.exit("The library is not here: build_wheel.sh puts the two together, as the target wheel of CMake does")
setup(
    version=".".join(re.findall(r"#define QXPIXLIB_VERSION_\w+ (\d+)", header)),
    distclass=ForOnePlatform,
    cmdclass={"bdist_wheel": ForAnyPython},
)
