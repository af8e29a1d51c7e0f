"""Recipe for Conan 2. Packages the clone that this folder is in: conan create packaging/conan"""

import os
import re

from conan import ConanFile
from conan.errors import ConanInvalidConfiguration
from conan.tools.cmake import CMake, CMakeDeps, CMakeToolchain, cmake_layout
from conan.tools.files import copy, load

CLONE = os.path.join("..", "..")


class ZtkAgentLib(ConanFile):
    name = "ztkagentlib"
    description = "Support library for the agent processes of a debugger"
    package_type = "shared-library"
    settings = "os", "arch", "compiler", "build_type"

    def set_version(self):
        header = load(self, os.path.join(self.recipe_folder, CLONE, "include", "ztk", "version.h"))
        numbers = re.findall(r"^#define ZTK_VERSION_(?:MAJOR|MINOR|PATCH) (\d+)$", header, re.M)
        self.version = ".".join(numbers)

    def export_sources(self):
        # What the build reads and what it installs.
        files = ("CMakeLists.txt", "README.md", "CHANGELOG.md")
        folders = ("cmake", "debug", "docs", "examples", "include", "src")
        for pattern in files + tuple(folder + "/*" for folder in folders):
            copy(self, pattern, os.path.join(self.recipe_folder, CLONE), self.export_sources_folder)

    def validate(self):
        compilers = {"Linux": ("gcc", "clang"), "Windows": ("gcc",)}
        if str(self.settings.compiler) not in compilers.get(str(self.settings.os), ()):
            raise ConanInvalidConfiguration("ZtkAgentLib is for Linux, and for Windows with MinGW")

    def requirements(self):
        if self.settings.os == "Linux":
            self.requires("expat/[>=2.4.1 <3]")

    def layout(self):
        cmake_layout(self)

    def generate(self):
        toolchain = CMakeToolchain(self)
        toolchain.cache_variables["ZTK_BUILD_TESTS"] = False
        toolchain.cache_variables["ZTK_BUILD_EXAMPLES"] = False
        toolchain.cache_variables["ZTK_WARNINGS_AS_ERRORS"] = False
        toolchain.cache_variables["CMAKE_INSTALL_LIBDIR"] = "lib"
        toolchain.generate()
        CMakeDeps(self).generate()

    def build(self):
        cmake = CMake(self)
        cmake.configure()
        cmake.build()

    def package(self):
        CMake(self).install()

    def package_info(self):
        # Hosts use the library's own CMake package; the rest is for other build systems.
        self.cpp_info.set_property("cmake_find_mode", "none")
        self.cpp_info.builddirs = [os.path.join("lib", "cmake", "ZtkAgentLib")]
        self.cpp_info.set_property("pkg_config_name", "ZtkAgentLib")
        bits = "32" if self.settings.arch == "x86" else "64"
        self.cpp_info.libs = ["ZtkAgentLib" + bits]
        if self.settings.os == "Linux":
            self.cpp_info.cxxflags = ["-fshort-wchar"]
        else:
            self.cpp_info.system_libs = ["ws2_32", "ole32", "oleaut32"]
