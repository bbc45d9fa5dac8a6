import os
import re

from conan import ConanFile
from conan.errors import ConanInvalidConfiguration
from conan.tools.cmake import CMake, CMakeToolchain, cmake_layout
from conan.tools.files import copy, load


class OruRtcSupport(ConanFile):
    name = "oru-rtc-support"
    description = "Runtime base, general utilities and crash capture of a real-time-communication SDK"
    package_type = "library"
    settings = "os", "compiler", "build_type", "arch"
    options = {"shared": [True, False], "crash_handler": [True, False]}
    default_options = {"shared": False, "crash_handler": False}

    def _root(self):
        return os.path.join(self.recipe_folder, "..", "..")

    def set_version(self):
        header = load(self, os.path.join(self._root(), "media_core/common/webrtc/rtc_base/version.h"))
        self.version = re.search(r'define ORU_VERSION "(.*)"', header).group(1)

    def export_sources(self):
        for pattern in ("CMakeLists.txt", "CHANGELOG.md", "CONTRIBUTING.md", "README.md", "SECURITY.md",
                        "cmake/*", "docs/*", "media_core/*", "packaging/*", "utils/*"):
            copy(self, pattern, self._root(), self.export_sources_folder)

    def validate(self):
        if self.settings.os not in ("Linux", "Macos"):
            raise ConanInvalidConfiguration("these libraries are for Linux and macOS")

    def layout(self):
        cmake_layout(self)

    def generate(self):
        toolchain = CMakeToolchain(self)
        # Which of the two forms: the toolchain sets BUILD_SHARED_LIBS from the option "shared".
        toolchain.cache_variables["ORU_BUILD_CRASH_HANDLER"] = bool(self.options.crash_handler)
        toolchain.cache_variables["ORU_BUILD_COMMANDS"] = False
        toolchain.cache_variables["ORU_BUILD_EXAMPLES"] = False
        toolchain.cache_variables["ORU_BUILD_TESTS"] = False
        toolchain.cache_variables["CMAKE_INSTALL_LIBDIR"] = "lib"
        toolchain.generate()

    def build(self):
        cmake = CMake(self)
        cmake.configure()
        cmake.build()

    def package(self):
        CMake(self).install()

    def package_info(self):
        # The project's own CMake package is better than a generated one.
        self.cpp_info.set_property("cmake_find_mode", "none")
        self.cpp_info.builddirs.append(os.path.join("lib", "cmake", "OruRTCSupport"))
