"""Makes a wheel of the Python package with the libraries that it is given, and prints its path.

    wheel.py FOLDER VERSION PLATFORM LIBRARY...

A wheel is a zip with a list of its files, so no build tool is needed.
"""

import base64
import hashlib
import pathlib
import sys
import zipfile

ROOT = pathlib.Path(__file__).resolve().parents[2]
PACKAGE = ROOT / "bindings/python"


def metadata(version):
    fields = {
        "Metadata-Version": "2.1",
        "Name": "zevra",
        "Version": version,
        "Summary": "A tap on the machine's audio: what it plays or records, as it comes",
        "License": "MIT",
        "Requires-Python": ">=3.9",
        "Provides-Extra": "numpy",
        "Requires-Dist": 'numpy; extra == "numpy"',
        "Description-Content-Type": "text/markdown",
    }
    head = "".join(f"{name}: {value}\n" for name, value in fields.items())
    return f"{head}\n{(PACKAGE / 'README.md').read_text()}".encode()


def contents(version, tag, libraries):
    for file in sorted((PACKAGE / "zevra").iterdir()):
        if file.is_file():
            yield f"zevra/{file.name}", file.read_bytes()
    for file in map(pathlib.Path, libraries):
        yield f"zevra/{file.name}", file.read_bytes()
    info = f"zevra-{version}.dist-info"
    yield f"{info}/METADATA", metadata(version)
    yield f"{info}/WHEEL", (
        f"Wheel-Version: 1.0\nGenerator: zevra\nRoot-Is-Purelib: false\nTag: {tag}\n"
    ).encode()
    yield f"{info}/LICENSE", (ROOT / "LICENSE").read_bytes()


def main(folder, version, platform, *libraries):
    tag = f"py3-none-{platform}"
    path = pathlib.Path(folder) / f"zevra-{version}-{tag}.whl"
    record = []

    def add(wheel, name, data):
        # Without a time of its own, the same files give the same wheel.
        entry = zipfile.ZipInfo(name)
        entry.external_attr = 0o644 << 16
        wheel.writestr(entry, data, zipfile.ZIP_DEFLATED)

    with zipfile.ZipFile(path, "w", zipfile.ZIP_DEFLATED) as wheel:
        for name, data in contents(version, tag, libraries):
            digest = base64.urlsafe_b64encode(hashlib.sha256(data).digest()).rstrip(b"=").decode()
            record.append(f"{name},sha256={digest},{len(data)}\n")
            add(wheel, name, data)
        name = f"zevra-{version}.dist-info/RECORD"
        add(wheel, name, "".join(record) + f"{name},,\n")
    print(path)


main(*sys.argv[1:])
