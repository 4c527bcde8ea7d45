"""Builds the tree that it lies in: conan create packaging/conan"""

import os
import re

from conan import ConanFile
from conan.tools.cmake import CMake, CMakeDeps, CMakeToolchain, cmake_layout
from conan.tools.files import copy, load, rmdir

TREE = ("CMakeLists.txt", "CHANGELOG.md", "cmake/*", "include/*", "module/*", "packaging/*", "source/*", "tool/*")


class QBaseRecipe(ConanFile):
    name = "qbase"
    description = "Reflected object graphs: persistence, differences, replication"
    author = "QBase developers"
    license = "LicenseRef-All-rights-reserved"
    topics = ("reflection", "serialization", "replication")
    package_type = "library"
    settings = "os", "arch", "compiler", "build_type"
    options = {"shared": [True, False], "net": [True, False], "tool": [True, False]}
    default_options = {"shared": True, "net": True, "tool": False}

    def _tree(self):
        return os.path.join(self.recipe_folder, os.pardir, os.pardir)

    def set_version(self):
        header = load(self, os.path.join(self._tree(), "include", "QBase", "Version.h"))
        numbers = re.findall(r"^#define QBASE_VERSION_(?:MAJOR|MINOR|PATCH) (\d+)$", header, re.MULTILINE)
        self.version = ".".join(numbers)

    def export_sources(self):
        for pattern in TREE:
            copy(self, pattern, src=self._tree(), dst=self.export_sources_folder)

    def configure(self):
        if not self.options.shared:
            self.options.rm_safe("tool")  # it loads modules, which a static library cannot be shared with

    def requirements(self):
        self.requires("tinyxml2/[>=9 <11]")
        self.requires("utfcpp/[>=3.2 <5]")
        if self.settings.os != "Windows":
            self.requires("boost/[>=1.74 <2]")
        if self.options.net:
            self.requires("asio/[>=1.22 <2]")
        if self.options.get_safe("tool"):
            self.requires("cli11/[>=2.3 <3]")
            self.requires("nlohmann_json/[>=3.11 <4]")

    def layout(self):
        cmake_layout(self)

    def generate(self):
        toolchain = CMakeToolchain(self)
        toolchain.cache_variables["QBASE_STATIC"] = not self.options.shared
        toolchain.cache_variables["QBASE_BUILD_NET"] = bool(self.options.net)
        toolchain.cache_variables["QBASE_BUILD_TOOL"] = bool(self.options.get_safe("tool"))
        toolchain.cache_variables["QBASE_BUILD_TESTS"] = False
        toolchain.cache_variables["QBASE_BUILD_EXAMPLES"] = False
        toolchain.cache_variables["QBASE_PACKAGE_DOCUMENTS"] = False
        toolchain.generate()
        CMakeDeps(self).generate()

    def build(self):
        cmake = CMake(self)
        cmake.configure()
        cmake.build()

    def package(self):
        CMake(self).install()
        copy(self, "copyright", src=os.path.join(self.source_folder, "packaging"),
             dst=os.path.join(self.package_folder, "licenses"))
        rmdir(self, os.path.join(self.package_folder, "share"))

    def package_info(self):
        # The package's own files for CMake know how modules are built and how archives are linked whole.
        self.cpp_info.set_property("cmake_find_mode", "none")
        self.cpp_info.builddirs = [os.path.join("lib", "cmake", "QBase")]
