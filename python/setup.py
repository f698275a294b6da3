"""Builds libh265ps.so.0 out of the checkout that this folder is in, and puts it beside the package's code.

H265PS_SYSTEM_LIBRARY=1 in the environment leaves that out: the library is looked for where the system has its
libraries.
"""
import os
import pathlib
import shutil
import subprocess

from setuptools import Distribution, setup
from setuptools.command.build_py import build_py

HERE = pathlib.Path(__file__).resolve().parent
ROOT = HERE.parent
OPTIONS = ["-DCMAKE_BUILD_TYPE=Release", "-DH265PS_BUILD_TESTS=OFF", "-DH265PS_BUILD_FUZZERS=OFF",
           "-DH265PS_BUILD_EXAMPLES=OFF"]


class BuildWithLibrary(build_py):
    """Copies the C header, and the library that it makes first."""

    def run(self):
        super().run()
        package = pathlib.Path(self.build_lib) / "h265ps"
        package.mkdir(parents=True, exist_ok=True)
        shutil.copy(ROOT / "interfaces/c/h265ps.h", package)
        if os.environ.get("H265PS_SYSTEM_LIBRARY"):
            return
        build = ROOT / "build" / "run"  # that of ./run, which has most of it
        generator = ["-G", "Ninja"] if shutil.which("ninja") else []
        subprocess.run(["cmake", "-S", ROOT, "-B", build, *generator, *OPTIONS], check=True)
        subprocess.run(["cmake", "--build", build, "--target", "h265ps_c", "--parallel", str(os.cpu_count())], check=True)
        library = (build / "interfaces/c/libh265ps.so.0").resolve()
        shutil.copy(library, package / "libh265ps.so.0")
        subprocess.run(["strip", "--strip-unneeded", package / "libh265ps.so.0"], check=False)


class PlatformDistribution(Distribution):
    """A wheel of this platform only, for the library's sake."""

    def has_ext_modules(self):
        return not os.environ.get("H265PS_SYSTEM_LIBRARY")


setup(cmdclass={"build_py": BuildWithLibrary}, distclass=PlatformDistribution)
