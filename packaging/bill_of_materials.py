#!/usr/bin/env python3
"""Writes the bill of materials of a package in SPDX 2.3 (JSON) beside it, as PACKAGE.spdx.json.

bill_of_materials.py VERSION PACKAGE FOLDER PART=VERSION...

FOLDER has the package's files as they are installed; the parts are the libraries and runtimes of other
people, by the names of the table below, with the versions that the build has used.
SOURCE_DATE_EPOCH is the time of the document.
"""
import datetime
import hashlib
import json
import os
import pathlib
import re
import sys

SITE = "https://kv500.example.org"
GCC = "GPL-3.0-or-later WITH GCC-exception-3.1"
# The part, its supplier and its licence. The name of a Debian package is used without its number.
PARTS = {
    "tinyxml2": ("Lee Thomason", "Zlib"),
    "zlib": ("Jean-loup Gailly and Mark Adler", "Zlib"),
    "libstdc++": ("Free Software Foundation", GCC),
    "libgcc": ("Free Software Foundation", GCC),
    "libssp": ("Free Software Foundation", GCC),
    "libc": ("Free Software Foundation", "LGPL-2.1-or-later"),
    "libpcsclite": ("Ludovic Rousseau", "BSD-3-Clause"),
    "libsystemd": ("The systemd project", "LGPL-2.1-or-later"),
    "libudev": ("The systemd project", "LGPL-2.1-or-later"),
    "mingw-w64": ("The mingw-w64 project", "ZPL-2.1"),
    "winpthreads": ("The mingw-w64 project", "MIT AND BSD-3-Clause-Clear"),
}


def digest(path, kind):
    return hashlib.new(kind, path.read_bytes()).hexdigest()


def part_package(name, version):
    supplier, licence = PARTS[name]
    return {"SPDXID": f"SPDXRef-Package-{re.sub('[^A-Za-z0-9.-]', 'x', name)}", "name": name,
            "versionInfo": version, "supplier": f"Organization: {supplier}",
            "downloadLocation": "NOASSERTION", "filesAnalyzed": False,
            "licenseConcluded": licence, "licenseDeclared": licence, "copyrightText": "NOASSERTION"}


def main():
    version, package, folder = sys.argv[1], pathlib.Path(sys.argv[2]), pathlib.Path(sys.argv[3])
    files = [{"SPDXID": f"SPDXRef-File-{number}", "fileName": f"./{path.relative_to(folder)}",
              "checksums": [{"algorithm": "SHA1", "checksumValue": digest(path, "sha1")},
                            {"algorithm": "SHA256", "checksumValue": digest(path, "sha256")}],
              "licenseConcluded": "LicenseRef-KV500", "licenseInfoInFiles": ["NOASSERTION"],
              "copyrightText": "Copyright 2026 The KV500 team"}
             for number, path in enumerate(sorted(path for path in folder.rglob("*")
                                                  if path.is_file() and not path.is_symlink()), 1)]
    parts = [part_package(*part.split("=", 1)) for part in sys.argv[4:]]
    hashes = "".join(sorted(file["checksums"][0]["checksumValue"] for file in files))
    own = {"SPDXID": "SPDXRef-Package", "name": package.name.split("_")[0].split("-" + version)[0],
           "versionInfo": version, "packageFileName": package.name,
           "supplier": "Organization: The KV500 team", "downloadLocation": "NOASSERTION",
           "homepage": SITE, "filesAnalyzed": True,
           "packageVerificationCode": {
               "packageVerificationCodeValue": hashlib.sha1(hashes.encode()).hexdigest()},
           "checksums": [{"algorithm": "SHA256", "checksumValue": digest(package, "sha256")}],
           "licenseConcluded": "LicenseRef-KV500", "licenseDeclared": "LicenseRef-KV500",
           "licenseInfoFromFiles": ["NOASSERTION"],
           "copyrightText": "Copyright 2026 The KV500 team"}
    time = datetime.datetime.fromtimestamp(int(os.environ["SOURCE_DATE_EPOCH"]), datetime.timezone.utc)
    link = "STATIC_LINK" if package.suffix == ".msi" else "DEPENDS_ON"
    document = {
        "spdxVersion": "SPDX-2.3", "dataLicense": "CC0-1.0", "SPDXID": "SPDXRef-DOCUMENT",
        "name": package.name,
        "documentNamespace": f"{SITE}/spdx/{package.name}-{digest(package, 'sha256')}",
        "creationInfo": {"created": time.strftime("%Y-%m-%dT%H:%M:%SZ"),
                         "creators": ["Organization: The KV500 team"]},
        "hasExtractedLicensingInfos": [{"licenseId": "LicenseRef-KV500", "name": "KV500",
                                        "extractedText": "All rights reserved."}],
        "packages": [own, *parts], "files": files,
        "relationships": [
            {"spdxElementId": one, "relationshipType": kind, "relatedSpdxElement": other}
            for one, kind, other in [
                ("SPDXRef-DOCUMENT", "DESCRIBES", own["SPDXID"]),
                *((own["SPDXID"], "CONTAINS", file["SPDXID"]) for file in files),
                *((own["SPDXID"], link, part["SPDXID"]) for part in parts)]]}
    pathlib.Path(f"{package}.spdx.json").write_text(json.dumps(document, indent=2) + "\n")


if __name__ == "__main__":
    main()
