"""The camera's paths, as the library's own header names them."""

import os
import re

_HEADER = os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../../../include/SensorPaths.h")

with open(_HEADER, encoding="ascii") as _header:
    _PATHS = dict(re.findall(r'constexpr char k(\w+)\[\]\s*=\s*"(.+?)";', _header.read()))

CONFIG_FOLDER = _PATHS["ConfigFolder"]
FACTORY_FOLDER = _PATHS["FactoryFolder"]
MODULE_FOLDER = _PATHS["ModuleFolder"]
STYLES = _PATHS["StyleFolder"]
DIVERSITIES = _PATHS["DiversityFolder"]
FOLDERS = (CONFIG_FOLDER, FACTORY_FOLDER, _PATHS["SignFolder"], _PATHS["LogFolder"], STYLES, DIVERSITIES)
MACHINE_INFO = _PATHS["MachineInfoFile"]
MODULE_CONFIG = _PATHS["ModuleConfigFile"]
VERSION_FILE = _PATHS["VersionFile"]
ERROR_LOG = _PATHS["ErrorLogFile"]
MODEL_FILE = "/mnt/mtd/sensorcam/model"  # what a host remembers


def scheme_file(scheme):
    return _PATHS["SchemeFile"] % scheme
