"""The library as a Conan 2 package, made of the sources that this recipe lies in: conan create packaging/conan"""

import re
from pathlib import Path

from conan import ConanFile
from conan.errors import ConanInvalidConfiguration
from conan.tools.build import check_min_cppstd
from conan.tools.cmake import CMake, CMakeDeps, CMakeToolchain, cmake_layout
from conan.tools.files import copy, rmdir

SOURCES = Path(__file__).resolve().parents[2]


class AmqpRecipe(ConanFile):
    name = "amqp"
    description = "C++ client library for brokers that speak AMQP 0-9-1"
    license = "MIT"
    topics = ("amqp", "rabbitmq", "messaging")
    package_type = "library"
    settings = "os", "arch", "compiler", "build_type"
    options = {"shared": [True, False], "fPIC": [True, False]}
    default_options = {"shared": True, "fPIC": True}
    implements = ["auto_shared_fpic"]

    def set_version(self):
        self.version = re.search(r"project\(amqp VERSION (\S+)", (SOURCES / "CMakeLists.txt").read_text()).group(1)

    def export_sources(self):
        for pattern in ("CMakeLists.txt", "LICENSE", "cmake/*", "include/*", "src/*"):
            copy(self, pattern, src=str(SOURCES), dst=self.export_sources_folder)

    def requirements(self):
        self.requires("rabbitmq-c/[>=0.11 <1]")
        self.requires("openssl/[>=3 <4]")
        self.requires("fmt/[>=9]")
        self.requires("boost/[>=1.74]", options={"header_only": True})

    def validate(self):
        check_min_cppstd(self, 20)
        if self.settings.os != "Linux":
            raise ConanInvalidConfiguration("amqp is for Linux")

    def layout(self):
        cmake_layout(self)

    def generate(self):
        CMakeDeps(self).generate()
        toolchain = CMakeToolchain(self)
        toolchain.variables["AMQP_TESTS"] = False
        toolchain.variables["AMQP_EXAMPLES"] = False
        toolchain.generate()

    def build(self):
        cmake = CMake(self)
        cmake.configure()
        cmake.build()

    def package(self):
        CMake(self).install()
        copy(self, "LICENSE", src=self.source_folder, dst=str(Path(self.package_folder) / "licenses"))
        # Conan writes its own, which know where the dependencies are.
        rmdir(self, str(Path(self.package_folder) / "lib" / "cmake"))
        rmdir(self, str(Path(self.package_folder) / "lib" / "pkgconfig"))

    def package_info(self):
        self.cpp_info.libs = ["amqp"]
        self.cpp_info.system_libs = ["pthread"]
        self.cpp_info.set_property("cmake_file_name", "Amqp")
        self.cpp_info.set_property("cmake_target_name", "Amqp::amqp")
        self.cpp_info.set_property("pkg_config_name", "amqp")
