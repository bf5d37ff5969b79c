"""pip install --no-build-isolation ./python: has CMake build the compiled part and takes it along."""

import re
import shutil
import subprocess
import sys
from pathlib import Path

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

top = Path(__file__).resolve().parent.parent


class CMakeBuild(build_ext):
    def build_extension(self, ext):
        build = top / "build" / "release"  # what ./run or ./check made is gone on with
        suffix = Path(self.get_ext_filename(ext.name)).name
        if not (build / "python" / "marvik" / suffix).exists():  # or was made for another Python
            build = top / "build" / "python"
            switches = {"HARDEN": "ON", "PYTHON": "ON", "WINDOW": "OFF", "TESTS": "OFF", "BENCH": "OFF"}
            subprocess.check_call(["cmake", "-G", "Ninja", "-S", str(top), "-B", str(build)]
                                  + [f"-DPython_EXECUTABLE={sys.executable}"]
                                  + [f"-DMARVIK_{name}={value}" for name, value in switches.items()])
        subprocess.check_call(["cmake", "--build", str(build), "--target", "marvik_python"])
        target = Path(self.get_ext_fullpath(ext.name))
        target.parent.mkdir(parents=True, exist_ok=True)
        shutil.copy2(build / "python" / "marvik" / suffix, target)


version = re.search(r"project\(marvik VERSION ([0-9.]+)", (top / "CMakeLists.txt").read_text()).group(1)
setup(version=version, packages=["marvik"], ext_modules=[Extension("marvik._marvik", sources=[])],
      cmdclass={"build_ext": CMakeBuild})
