"""The recipes for package managers: what they pass is known, what they export is enough, what they install can be used.

  recipes_test.py SOURCE_FOLDER read|build

The package managers are not here. What the recipes call is stood in for by the CMake calls that it comes to.
"""
import glob
import importlib.util
import json
import os
import re
import shutil
import subprocess
import sys
import tempfile
import types
import unittest

# The recipes are loaded where they lie.
sys.dont_write_bytecode = True
ROOT = os.path.abspath(sys.argv[1])
CONAN = os.path.join(ROOT, "packaging", "conan")
VCPKG = os.path.join(ROOT, "packaging", "vcpkg")
FORMULA = os.path.join(ROOT, "packaging", "homebrew", "oru-rtc-support.rb")


def read(*path):
    with open(os.path.join(ROOT, *path), encoding="utf-8") as file:
        return file.read()


VERSION = re.search(r'define ORU_VERSION "(.*)"', read("media_core/common/webrtc/rtc_base/version.h")).group(1)
OPTIONS = set(re.findall(r"^option\((ORU_\w+)", read("CMakeLists.txt"), re.M))


def run(*command):
    result = subprocess.run(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                            timeout=500, check=False)
    if result.returncode != 0:
        raise AssertionError(f"{command} failed:\n{result.stdout[-4000:]}")
    return result.stdout


def cmake(source, build, *options):
    run("cmake", "-G", "Ninja", "-S", source, "-B", build, *options)
    run("cmake", "--build", build)


class Options(unittest.TestCase):
    def test_every_option_that_a_recipe_passes_is_one_of_the_project(self):
        for recipe in (FORMULA, os.path.join(VCPKG, "portfile.cmake"), os.path.join(CONAN, "conanfile.py")):
            passed = set(re.findall(r"ORU_[A-Z]+_[A-Z_]+\b", read(recipe)))
            self.assertGreaterEqual(len(passed - {"ORU_VERSION"}), 2, recipe)
            self.assertLessEqual(passed - {"ORU_VERSION"}, OPTIONS, recipe)

    def test_every_recipe_has_the_one_version(self):
        self.assertEqual(json.loads(read(VCPKG, "vcpkg.json"))["version"], VERSION)
        self.assertIn(f"-{VERSION}.tar.gz", read(FORMULA))
        self.assertEqual(conan_recipe("conanfile.py").version, VERSION)

    def test_what_is_written_by_hand_has_the_one_version(self):
        self.assertEqual(re.search(r"(?m)^## (\S+)", read("CHANGELOG.md")).group(1), VERSION)
        for page in ("varnook.1", "oru-report.1"):
            self.assertRegex(read("docs", "man", page), rf'(?m)^\.TH .* "OruRTCSupport {re.escape(VERSION)}" ')

    def test_the_formula_is_ruby(self):
        self.assertEqual(run("ruby", "-c", FORMULA), "Syntax OK\n")

    def test_no_recipe_claims_a_licence(self):
        self.assertIsNone(json.loads(read(VCPKG, "vcpkg.json"))["license"])
        for recipe in (FORMULA, os.path.join(CONAN, "conanfile.py")):
            self.assertNotRegex(read(recipe), r"(?m)^\s*license\b")


class Formula(unittest.TestCase):
    def test_what_the_formula_builds_can_be_used(self):
        with tempfile.TemporaryDirectory() as folder:
            passed = re.findall(r'"(-D[^"]+)"', read(FORMULA))
            # What Homebrew calls std_cmake_args, as far as it matters here.
            cmake(ROOT, f"{folder}/build", f"-DCMAKE_INSTALL_PREFIX={folder}/prefix", "-DCMAKE_INSTALL_LIBDIR=lib",
                  "-DCMAKE_BUILD_TYPE=Release", "-DCMAKE_FIND_FRAMEWORK=LAST", "-DBUILD_TESTING=OFF", "-Wno-dev", *passed)
            run("cmake", "--install", f"{folder}/build")
            self.assertIn(VERSION, run(f"{folder}/prefix/bin/oru-report", "--version"))
            self.assertTrue(os.path.exists(f"{folder}/prefix/share/zsh/site-functions/_varnook"))


class ConanFile:
    """What a recipe is a kind of."""

    def __init__(self):
        self.recipe_folder = CONAN
        self.settings = types.SimpleNamespace(os="Linux")
        self.options = types.SimpleNamespace(**getattr(self, "default_options", {}))
        self.cpp_info = types.SimpleNamespace(builddirs=[], set_property=lambda *arguments: None)


class CMakeToolchain:
    def __init__(self, recipe):
        self.recipe, self.cache_variables = recipe, {}

    def generate(self):
        self.recipe.passed = ["-DCMAKE_BUILD_TYPE=Release", f"-DBUILD_SHARED_LIBS={self.recipe.options.shared}",
                              *(f"-D{name}={value}" for name, value in self.cache_variables.items())]


class CMake:
    def __init__(self, recipe):
        self.recipe = recipe

    def configure(self):
        pass

    def build(self):
        cmake(self.recipe.source_folder, self.recipe.build_folder, *self.recipe.passed)

    def install(self):
        run("cmake", "--install", self.recipe.build_folder, "--prefix", self.recipe.package_folder)


def copy(recipe, pattern, source, target):
    """Copies what matches, where a star stands for folders too."""
    del recipe
    top, _, rest = pattern.partition("/*")
    found = [pattern] if not glob.has_magic(pattern) else glob.glob(f"{top}/**" if pattern.endswith("/*") else pattern,
                                                                  root_dir=source, recursive=True)
    assert found and not rest, pattern
    for name in found:
        if os.path.isfile(os.path.join(source, name)):
            os.makedirs(os.path.dirname(os.path.join(target, name)), exist_ok=True)
            shutil.copy(os.path.join(source, name), os.path.join(target, name))


def conan_recipe(name):
    """The recipe of the file, with the version it gives itself."""
    modules = {
        "conan": {"ConanFile": ConanFile},
        "conan.errors": {"ConanInvalidConfiguration": type("ConanInvalidConfiguration", (Exception,), {})},
        "conan.tools": {},
        "conan.tools.build": {"can_run": lambda recipe: True},
        "conan.tools.cmake": {"CMake": CMake, "CMakeToolchain": CMakeToolchain, "cmake_layout": lambda recipe: None},
        "conan.tools.files": {"copy": copy, "load": lambda recipe, path: read(path)},
    }
    for module, names in modules.items():
        sys.modules[module] = types.ModuleType(module)
        sys.modules[module].__dict__.update(names)
    spec = importlib.util.spec_from_file_location("recipe", os.path.join(CONAN, name))
    module = importlib.util.module_from_spec(spec)
    spec.loader.exec_module(module)
    kinds = [kind for kind in vars(module).values() if isinstance(kind, type) and issubclass(kind, ConanFile)]
    recipe = next(kind for kind in kinds if kind is not ConanFile)()
    if hasattr(recipe, "set_version"):
        recipe.set_version()
    return recipe


class Conan(unittest.TestCase):
    def test_what_the_recipe_exports_builds_and_its_test_package_runs(self):
        with tempfile.TemporaryDirectory() as folder:
            recipe = conan_recipe("conanfile.py")
            recipe.source_folder = recipe.export_sources_folder = f"{folder}/source"
            recipe.build_folder, recipe.package_folder = f"{folder}/build", f"{folder}/package"
            recipe.options.shared = True
            for step in ("validate", "export_sources", "layout", "generate", "build", "package", "package_info"):
                getattr(recipe, step)()
            test = conan_recipe("test_package/conanfile.py")
            test.source_folder, test.build_folder = os.path.join(CONAN, "test_package"), f"{folder}/test"
            found = ";".join(os.path.join(recipe.package_folder, place) for place in recipe.cpp_info.builddirs)
            test.passed = [f"-DCMAKE_PREFIX_PATH={found}"]
            test.cpp = types.SimpleNamespace(build=types.SimpleNamespace(bindir=test.build_folder))
            printed = []
            test.run = lambda command, env: printed.append(run(command))
            test.build()
            test.test()
            self.assertRegex(printed[0], f"2 words, version {re.escape(VERSION)}\n")

    def test_other_systems_are_refused(self):
        recipe = conan_recipe("conanfile.py")
        recipe.settings.os = "Windows"
        with self.assertRaises(sys.modules["conan.errors"].ConanInvalidConfiguration):
            recipe.validate()


# The functions of vcpkg that the port calls.
VCPKG_FUNCTIONS = r"""
set(CURRENT_PACKAGES_DIR "${FOLDER}/package")
function(vcpkg_download_distfile name)
  cmake_parse_arguments(arg "" "URLS;FILENAME;SHA512" "" ${ARGN})
  if(NOT arg_URLS MATCHES "${VERSION}" OR NOT arg_FILENAME)
    message(FATAL_ERROR "no archive of this version")
  endif()
endfunction()
function(vcpkg_extract_source_archive name)
  set(${name} "${SOURCE}" PARENT_SCOPE)
endfunction()
function(vcpkg_check_features)
  cmake_parse_arguments(arg "" "OUT_FEATURE_OPTIONS" "FEATURES" ${ARGN})
  list(GET arg_FEATURES 1 option)
  set(${arg_OUT_FEATURE_OPTIONS} "-D${option}=OFF" PARENT_SCOPE)
endfunction()
function(vcpkg_cmake_configure)
  cmake_parse_arguments(arg "" "SOURCE_PATH" "OPTIONS" ${ARGN})
  foreach(type Debug Release)
    set(prefix "${FOLDER}/package")
    if(type STREQUAL Debug)
      string(APPEND prefix /debug)
    endif()
    execute_process(COMMAND "${CMAKE_COMMAND}" -G Ninja -S "${arg_SOURCE_PATH}" -B "${FOLDER}/${type}" -DBUILD_SHARED_LIBS=OFF
      "-DCMAKE_INSTALL_PREFIX=${prefix}" "-DCMAKE_BUILD_TYPE=${type}" ${arg_OPTIONS} COMMAND_ERROR_IS_FATAL ANY)
  endforeach()
endfunction()
function(vcpkg_cmake_install)
  foreach(type Debug Release)
    execute_process(COMMAND "${CMAKE_COMMAND}" --build "${FOLDER}/${type}" --target install COMMAND_ERROR_IS_FATAL ANY)
  endforeach()
endfunction()
# As vcpkg does: one folder for both builds, one level nearer to the prefix.
function(vcpkg_cmake_config_fixup)
  cmake_parse_arguments(arg "" "PACKAGE_NAME;CONFIG_PATH" "" ${ARGN})
  set(target "${FOLDER}/package/share/${arg_PACKAGE_NAME}")
  file(RENAME "${FOLDER}/package/${arg_CONFIG_PATH}" "${target}")
  file(GLOB targets "${FOLDER}/package/debug/${arg_CONFIG_PATH}/*-debug.cmake")
  foreach(file IN LISTS targets)
    file(READ "${file}" text)
    string(REPLACE "\${_IMPORT_PREFIX}" "\${_IMPORT_PREFIX}/debug" text "${text}")
    cmake_path(GET file FILENAME name)
    file(WRITE "${target}/${name}" "${text}")
  endforeach()
  file(REMOVE_RECURSE "${FOLDER}/package/debug/${arg_CONFIG_PATH}")
  file(GLOB targets "${target}/*.cmake")
  set(up "get_filename_component(_IMPORT_PREFIX \"\${_IMPORT_PREFIX}\" PATH)\n")
  foreach(file IN LISTS targets)
    file(READ "${file}" text)
    string(REPLACE "${up}${up}${up}" "${up}${up}" text "${text}")
    string(REPLACE "/../../../\" ABSOLUTE" "/../../\" ABSOLUTE" text "${text}")
    file(WRITE "${file}" "${text}")
  endforeach()
endfunction()
function(vcpkg_fixup_pkgconfig)
endfunction()
function(vcpkg_install_copyright)
  cmake_parse_arguments(arg "" "" "FILE_LIST" ${ARGN})
  file(COPY_FILE "${arg_FILE_LIST}" "${FOLDER}/package/share/copyright")
endfunction()
include("${PORT}")
"""


class Vcpkg(unittest.TestCase):
    def test_what_the_port_installs_can_be_used(self):
        with tempfile.TemporaryDirectory() as folder:
            with open(f"{folder}/run.cmake", "w", encoding="utf-8") as file:
                file.write(VCPKG_FUNCTIONS)
            run("cmake", f"-DFOLDER={folder}", f"-DSOURCE={ROOT}", f"-DVERSION={VERSION}", f"-DPORT={VCPKG}/portfile.cmake",
                "-P", f"{folder}/run.cmake")
            for kind in ("Debug", "Release"):
                cmake(os.path.join(CONAN, "test_package"), f"{folder}/use{kind}", f"-DCMAKE_BUILD_TYPE={kind}",
                      f"-DOruRTCSupport_DIR={folder}/package/share/OruRTCSupport")
                self.assertIn(f"version {VERSION}\n", run(f"{folder}/use{kind}/log_line"))
            self.assertFalse(os.path.exists(f"{folder}/package/debug/include"))
            self.assertFalse(os.path.exists(f"{folder}/package/debug/share"))
            self.assertTrue(os.path.getsize(f"{folder}/package/share/copyright"))


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *{"read": ["Options"], "build": ["Formula", "Conan", "Vcpkg"]}[sys.argv[2]]])
