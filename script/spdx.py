# SPDX-License-Identifier: MIT
"""Lists what a release contains, in the form SPDX 2.3, and tells the licence of each source.

    spdx.py TIME FILE...    prints the document about these files: the source archive, Debian
                            packages, RPMs and the collection for Ansible. TIME is that of the release,
                            in seconds since 1970.
"""

import datetime
import hashlib
import io
import json
import pathlib
import re
import subprocess
import sys
import tarfile
import tomllib

PROJECT = pathlib.Path(__file__).resolve().parents[1]
DEVELOPERS = "The keldoctl developers"
# Licences of the packages whose files have several.
COLLECTION = "GPL-3.0-or-later AND MIT"


# --- Licences of the sources


def licence_in(content):
    """The licence that the first lines of a file's content name, or None."""
    text = content.decode("utf-8", "replace")
    # The brackets around the colon keep tools from reading this line as a licence of this file.
    match = re.search(r"SPDX-License-Identifier[:] ([A-Za-z0-9.+-]+)",
                      "\n".join(text.split("\n", 5)[:5]))
    return match and match[1]


def line_in(name):
    """The licence that the first lines of a file of the project name, or None."""
    return licence_in((PROJECT / name).read_bytes())


def annotations():
    """The entries of REUSE.toml."""
    return tomllib.loads((PROJECT / "REUSE.toml").read_text(encoding="utf-8"))["annotations"]


def reuse_pattern(glob):
    """The regular expression for a glob: `**` matches any characters, `*` all but a slash."""
    return re.compile(re.escape(glob).replace(r"\*\*", ".*").replace(r"\*", "[^/]*"))


def licence_in_reuse_toml(name):
    """The licence that REUSE.toml gives to a file, or None. The last entry that matches decides."""
    found = None
    for entry in annotations():
        paths = entry["path"] if isinstance(entry["path"], list) else [entry["path"]]
        if any(reuse_pattern(path).fullmatch(name) for path in paths):
            found = entry.get("SPDX-License-Identifier")
    return found


def licence_of(name):
    """The licence of a file of the project, or None."""
    return line_in(name) or licence_in_reuse_toml(name)


# --- Contents of a release


def run(*command):
    return subprocess.run(command, check=True, stdout=subprocess.PIPE).stdout


def members(path):
    """The regular files in an archive or package: pairs of a name and the content."""
    if path.suffix == ".deb":
        archive = run("dpkg-deb", "--fsys-tarfile", path)
    elif path.suffix == ".rpm":
        with open(path, "rb") as package:
            archive = subprocess.run(["rpm2archive", "-"], stdin=package, check=True,
                                     stdout=subprocess.PIPE).stdout
    else:
        archive = path.read_bytes()
    with tarfile.open(fileobj=io.BytesIO(archive)) as tar:
        for member in tar:
            if member.isfile():
                yield member.name.removeprefix("./"), tar.extractfile(member).read()


def version_and_licence(path):
    """The version and the licence of a package, from its file."""
    if path.suffix == ".deb":
        name = run("dpkg-deb", "--field", path, "Package").decode().strip()
        version = run("dpkg-deb", "--field", path, "Version").decode().strip()
    elif path.suffix == ".rpm":
        name, version = run("rpm", "--query", "--package", "--queryformat", "%{NAME} %{VERSION}-%{RELEASE}",
                            path).decode().split()
    else:
        name, version = path.name.removesuffix(".tar.gz").rsplit("-", 1)
    return version, COLLECTION if "collection" in name or "keldo-keldoctl" in name else "MIT"


def digest(algorithm, content):
    return hashlib.new(algorithm, content).hexdigest()


def checksums(content):
    return [{"algorithm": algorithm.upper(), "checksumValue": digest(algorithm, content)}
            for algorithm in ("sha1", "sha256")]


def file_entry(reference, name, content, licence):
    return {"SPDXID": reference, "fileName": f"./{name}", "checksums": checksums(content),
            "licenseConcluded": licence, "licenseInfoInFiles": [licence],
            "copyrightText": "NOASSERTION"}


def package_entries(number, path):
    """The entry of a package of the release, and those of its files."""
    version, licence = version_and_licence(path)
    is_source = path.name.startswith("keldoctl-") and path.name.endswith(".tar.gz")
    files = []
    for place, (name, content) in enumerate(sorted(members(path)), 1):
        source = name.partition("/")[2]
        own = licence_of(source) if is_source else licence_in(content)
        if is_source and source.startswith("LICENSES/"):
            own = "NOASSERTION"  # the text of a licence
        files.append(file_entry(f"SPDXRef-File-{number}-{place}", name, content,
                                own or ("NOASSERTION" if " " in licence else licence)))
    sums = sorted(file["checksums"][0]["checksumValue"] for file in files)
    package = {
        "SPDXID": f"SPDXRef-Package-{number}", "name": path.name, "packageFileName": path.name,
        "versionInfo": version, "supplier": f"Organization: {DEVELOPERS}",
        "downloadLocation": "NOASSERTION", "checksums": checksums(path.read_bytes()),
        "filesAnalyzed": True,
        "packageVerificationCode": {
            "packageVerificationCodeValue": digest("sha1", "".join(sums).encode())},
        "licenseConcluded": COLLECTION if is_source else licence,
        "licenseDeclared": COLLECTION if is_source else licence,
        "licenseInfoFromFiles": sorted({file["licenseConcluded"] for file in files}),
        "copyrightText": f"2026 {DEVELOPERS}"}
    return package, files


def relation(one, kind, other):
    return {"spdxElementId": one, "relationshipType": kind, "relatedSpdxElement": other}


def document(seconds, paths):
    """The document about a release. The first path is that of the source archive."""
    packages, files, relations = [], [], []
    for number, path in enumerate(paths, 1):
        package, own = package_entries(number, path)
        packages.append(package)
        files += own
        relations.append(relation("SPDXRef-DOCUMENT", "DESCRIBES", package["SPDXID"]))
        relations += [relation(package["SPDXID"], "CONTAINS", file["SPDXID"]) for file in own]
        if number > 1:
            relations.append(relation(package["SPDXID"], "GENERATED_FROM", "SPDXRef-Package-1"))
    name = paths[0].name.removesuffix(".tar.gz")
    created = datetime.datetime.fromtimestamp(seconds, datetime.timezone.utc)
    return {
        "spdxVersion": "SPDX-2.3", "dataLicense": "CC0-1.0", "SPDXID": "SPDXRef-DOCUMENT",
        "name": name,
        "documentNamespace":
            f"https://keldo.example/spdx/{name}-{digest('sha256', paths[0].read_bytes())}",
        "creationInfo": {"created": created.strftime("%Y-%m-%dT%H:%M:%SZ"),
                         "creators": [f"Organization: {DEVELOPERS}", "Tool: script/release"]},
        "packages": packages, "files": files, "relationships": relations}


def main(seconds, *names):
    json.dump(document(int(seconds), [pathlib.Path(name) for name in names]), sys.stdout, indent=1,
              sort_keys=True)
    print()


if __name__ == "__main__":
    main(*sys.argv[1:])
