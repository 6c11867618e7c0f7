"""What the library needs, for Conan 2; with the options `tools` and `tests` what these need, too."""

import pathlib
import re

from conan import ConanFile
from conan.tools.cmake import CMake, cmake_layout
from conan.tools.files import copy


class Harvelstone(ConanFile):
    name = "harvelstone"
    description = "The document manager of a mobile analytics SDK"
    license = "MIT"
    package_type = "library"
    settings = "os", "arch", "compiler", "build_type"
    options = {"shared": [True, False], "tools": [True, False], "tests": [True, False]}
    default_options = {"shared": False, "tools": False, "tests": False}
    generators = "CMakeDeps", "CMakeToolchain", "PkgConfigDeps"
    exports_sources = "CMakeLists.txt", "cmake/*", "harvelstone/*", "LICENSE"

    def set_version(self):
        header = pathlib.Path(self.recipe_folder, "harvelstone", "api", "harvelstone.h").read_text()
        self.version = ".".join(re.findall(r"^#define HARVELSTONE_VERSION_(?:MAJOR|MINOR|PATCH) (\d+)$", header, re.MULTILINE))

    def requirements(self):
        self.requires("asio/[>=1.22 <2]")
        self.requires("fmt/[>=9 <12]")
        self.requires("libcurl/[>=7.88 <9]")
        self.requires("simdjson/[>=2 <4]")
        self.requires("util-linux-libuuid/[>=2.38 <3]")
        self.requires("zlib/[>=1.2.13 <2]")
        if self.options.tools or self.options.tests:
            self.requires("cli11/[>=2.1 <3]")
            self.requires("cpp-httplib/[>=0.11 <0.12]")  # the collector replaces what its server does with a socket
        if self.options.tests:
            self.requires("gtest/[>=1.12 <2]")
            self.requires("nlohmann_json/[>=3.11 <4]")
            self.requires("openssl/[>=3 <4]")
            self.requires("rapidcheck/cci.20230815")

    def layout(self):
        cmake_layout(self)

    def build(self):
        cmake = CMake(self)
        cmake.configure({"HARVELSTONE_BUILD_BOTH_KINDS": False, "HARVELSTONE_BUILD_TOOLS": False, "HARVELSTONE_BUILD_TESTS": False})
        cmake.build()

    def package(self):
        CMake(self).install()
        copy(self, "LICENSE", self.source_folder, pathlib.Path(self.package_folder, "licenses"))

    def package_info(self):
        self.cpp_info.libs = ["harvelstone"]
        if self.settings.os == "Linux":
            self.cpp_info.system_libs = ["m", "pthread"]
        self.cpp_info.set_property("cmake_target_name", "harvelstone::harvelstone")
