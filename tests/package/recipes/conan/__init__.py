"""Stands in for Conan 2: what the recipe in packaging/ uses of it, done with CMake and the system's packages."""


class CppInfo:
    def __init__(self):
        self.properties = {}

    def set_property(self, name, value):
        self.properties[name] = value


class Settings:
    os = "Linux"


class ConanFile:
    def __init__(self, work):
        self.settings = Settings()
        self.cpp_info = CppInfo()
        self.required = []
        self.export_sources_folder = self.source_folder = str(work / "sources")
        self.build_folder = str(work / "build")
        self.package_folder = str(work / "package")
        self.installed_folder = str(work / "installed")  # as it is before the recipe removes some of it

    def requires(self, reference, **_):
        self.required.append(reference.split("/")[0])
