import shutil
from pathlib import Path


def copy(recipe, pattern, src, dst):
    """Of the pattern's forms only NAME and FOLDER/*; something has to match."""
    name = pattern.removesuffix("/*")
    if name != pattern:
        shutil.copytree(Path(src) / name, Path(dst) / name)
    else:
        Path(dst).mkdir(parents=True, exist_ok=True)
        shutil.copy(Path(src) / name, Path(dst) / name)


def rmdir(recipe, path):
    shutil.rmtree(path)
