import shutil
import subprocess


def cmake_layout(recipe):
    pass


class CMakeDeps:
    def __init__(self, recipe):
        pass

    def generate(self):
        pass


class CMakeToolchain:
    def __init__(self, recipe):
        self.recipe = recipe
        self.variables = {}

    def generate(self):
        self.recipe.variables = self.variables


class CMake:
    def __init__(self, recipe):
        self.recipe = recipe

    def configure(self):
        variables = [f"-D{name}={'ON' if value else 'OFF'}" for name, value in self.recipe.variables.items()]
        subprocess.run(["cmake", "-S", self.recipe.source_folder, "-B", self.recipe.build_folder, "-G", "Ninja",
                        "-D", "CMAKE_BUILD_TYPE=Debug", "-D", "CMAKE_INSTALL_LIBDIR=lib", *variables], check=True)

    def build(self):
        subprocess.run(["cmake", "--build", self.recipe.build_folder], check=True)

    def install(self):
        subprocess.run(["cmake", "--install", self.recipe.build_folder, "--prefix", self.recipe.package_folder],
                       check=True)
        shutil.copytree(self.recipe.package_folder, self.recipe.installed_folder, symlinks=True)
