#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Builds an example against a fresh installation with the documents' own
commands: the shell blocks (```sh) are taken from the documents and run in
one shell, which stops at the first failing command.

  1. docs/integration.md, "Installation": the build tree installed with the
     stand-in platform; "Build against it": the environment.
     Here, and only here, WORK/prefix stands for /opt/ovt and the build
     tree for build/host.
  2. examples/EXAMPLE/README.md: every block, unchanged, in a copy of the
     example.

The build's compiler, with the build's sanitizers, is the `c++` on the PATH.
A cross build configures the example with a toolchain file that includes
the build's and names the installation and, for an example with tests,
GoogleTest's sources; the example's tests run under the toolchain's
emulator. It leaves out the blocks that call pkg-config, which build for the
host. Without an emulator or GoogleTest's sources it prints "OVT-SKIP: ..."
and stops.

Usage: run_documented_route.py --source DIR --build DIR --work DIR
           --example NAME --cxx COMPILER [--sanitize LIST]
           [--toolchain FILE --emulator COMMAND [--googletest-source DIR]]
"""

import argparse
import os
import re
import shlex
import shutil
import subprocess
import sys

HEADING = re.compile(r"^(#+)\s+(.*?)\s*$")


def shell_blocks(path, section=None):
    """The ```sh blocks of a Markdown file, or of its "## section"."""
    blocks, block, in_section = [], None, section is None
    with open(path, encoding="utf-8") as text:
        for line in text:
            if block is not None:
                if line.startswith("```"):
                    blocks.append("".join(block))
                    block = None
                else:
                    block.append(line)
            elif line.rstrip() == "```sh" and in_section:
                block = []
            elif section is not None and HEADING.match(line):
                level, title = HEADING.match(line).groups()
                if level == "##":
                    in_section = title == section
    if not blocks:
        sys.exit(f"{path}: no sh block" + (f" under '## {section}'"
                                            if section else ""))
    return blocks


def main():
    parser = argparse.ArgumentParser()
    for option in ("--source", "--build", "--work", "--example", "--cxx"):
        parser.add_argument(option, required=True)
    parser.add_argument("--sanitize", default="")
    parser.add_argument("--toolchain")
    parser.add_argument("--emulator", default="")
    parser.add_argument("--googletest-source")
    args = parser.parse_args()

    work = os.path.abspath(args.work)
    prefix = os.path.join(work, "prefix")
    example = os.path.join(work, args.example)
    shutil.rmtree(work, ignore_errors=True)
    # Without the build directories of someone who followed the README in
    # the source tree.
    shutil.copytree(os.path.join(args.source, "examples", args.example),
                    example, ignore=shutil.ignore_patterns("build"))

    integration = os.path.join(args.source, "docs", "integration.md")
    documented = (shell_blocks(integration, "Installation") +
                  shell_blocks(integration, "Build against it"))
    steps = [f"cd {shlex.quote(args.source)}"]
    steps += [block.replace("build/host", args.build).replace("/opt/ovt",
                                                               prefix)
              for block in documented]
    steps.append(f"cd {shlex.quote(example)}")
    example_blocks = shell_blocks(os.path.join(example, "README.md"))

    env = dict(os.environ)
    for name in ("CXX", "CXXFLAGS", "LDFLAGS", "DESTDIR", "LD_LIBRARY_PATH",
                 "PKG_CONFIG_LIBDIR", "CMAKE_TOOLCHAIN_FILE"):
        env.pop(name, None)
    if args.toolchain:
        if not args.emulator:
            print("OVT-SKIP: cross build without an emulator to run the "
                  "example's tests")
            return 0
        settings = [f'include("{args.toolchain}")',
                    f'set(OvtTrafHandler_DIR "{prefix}/lib/cmake/'
                    'OvtTrafHandler" CACHE PATH "")']
        if args.googletest_source is not None:
            if not os.path.isfile(
                    os.path.join(args.googletest_source, "CMakeLists.txt")):
                print("OVT-SKIP: cross build without GoogleTest's sources "
                      f"in {args.googletest_source}")
                return 0
            settings.append('set(HCCD_ECHO_GOOGLETEST_SOURCE_DIR '
                            f'"{args.googletest_source}" CACHE PATH "")')
        toolchain = os.path.join(work, "toolchain.cmake")
        with open(toolchain, "w", encoding="utf-8") as out:
            out.write("\n".join(settings) + "\n")
        env["CMAKE_TOOLCHAIN_FILE"] = toolchain
        print("A cross build leaves out the pkg-config blocks, which build "
              "for the host.", flush=True)
        example_blocks = [b for b in example_blocks if "pkg-config" not in b]
    else:
        flags = ""
        if args.sanitize:
            # The library keeps its type information hidden, which the vptr
            # check of a separately built caller would need to link.
            flags = f"-fsanitize={args.sanitize} "
            if "undefined" in args.sanitize:
                flags += "-fno-sanitize=vptr "
        bin_dir = os.path.join(work, "bin")
        os.makedirs(bin_dir)
        wrapper = os.path.join(bin_dir, "c++")
        with open(wrapper, "w", encoding="utf-8") as out:
            out.write(f'#!/bin/sh\nexec {shlex.quote(args.cxx)} {flags}"$@"\n')
        os.chmod(wrapper, 0o755)
        env["PATH"] = bin_dir + os.pathsep + env.get("PATH", "")

    script = os.path.join(work, "route.sh")
    with open(script, "w", encoding="utf-8") as out:
        out.write("\n".join(steps + example_blocks))
    return subprocess.run(["sh", "-e", "-x", script], env=env,
                          check=False).returncode


if __name__ == "__main__":
    sys.exit(main())
