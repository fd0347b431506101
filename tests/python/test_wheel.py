"""The wheel, installed by pip without network access."""

import os
import pathlib
import subprocess
import sys

import melnar

PACKAGE = pathlib.Path(melnar.__file__).parent
SCRIPT = pathlib.Path(__file__).parents[2] / "python" / "make_wheel.py"


def make_wheel(folder):
    folder.mkdir()
    made = subprocess.run([sys.executable, SCRIPT, PACKAGE, folder, "--strip", "strip"], check=True,
                          stdout=subprocess.PIPE, text=True)
    return pathlib.Path(made.stdout.strip())


def test_a_wheel_is_installed_and_used(tmp_path):
    wheel = make_wheel(tmp_path / "wheels")
    assert wheel.name.startswith(f"melnar-{melnar.__version__}-cp3")
    target = tmp_path / "target"
    subprocess.run([sys.executable, "-m", "pip", "install", "--quiet", "--no-index", "--target", target, wheel],
                   check=True)
    environment = dict(os.environ, PYTHONPATH=str(target))
    program = "import melnar; print(melnar.__file__, melnar.Dictionary('64M').encode(['a', 'b', 'a']))"
    used = subprocess.run([sys.executable, "-B", "-c", program], check=True, stdout=subprocess.PIPE, text=True,
                          env=environment, cwd=tmp_path)
    assert used.stdout == f"{target / 'melnar' / '__init__.py'} [1 2 1]\n"
    assert (target / "melnar" / "py.typed").exists() and (target / "melnar" / "__init__.pyi").exists()


def test_equal_packages_make_equal_wheels(tmp_path):
    assert make_wheel(tmp_path / "first").read_bytes() == make_wheel(tmp_path / "second").read_bytes()
