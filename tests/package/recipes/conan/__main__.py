"""Usage: python3 -m conan RECIPE WORK_FOLDER VERSION: makes the package, in the order in which Conan would."""

import runpy
import sys
from pathlib import Path

from conan import ConanFile

path, work, version = sys.argv[1], Path(sys.argv[2]), sys.argv[3]
(kind,) = [value for value in runpy.run_path(path).values()
           if isinstance(value, type) and issubclass(value, ConanFile) and value is not ConanFile]
recipe = kind(work)
recipe.set_version()
recipe.export_sources()
recipe.requirements()
recipe.validate()
recipe.layout()
recipe.generate()
recipe.build()
recipe.package()
recipe.package_info()

assert recipe.version == version, recipe.version
assert sorted(recipe.required) == ["boost", "fmt", "openssl", "rabbitmq-c"], recipe.required
assert recipe.cpp_info.libs == ["amqp"]
assert recipe.cpp_info.properties["cmake_target_name"] == "Amqp::amqp"
assert not (work / "package/lib/cmake").exists()
