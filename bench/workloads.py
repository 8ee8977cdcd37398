"""The workloads of the benchmarks: pages, settings, and required speed.

Gate and goal are ratios to the floor (see floor.cpp): the gate must be met, the goal should be
met. Peak memory is in MiB.
"""

import os
import subprocess
from dataclasses import dataclass, field

PAPERS = {
    # name: (PageSize choice, points, target, canvas)
    "6x4": ("w288h432", (461, 298), (1844, 1240), (1920, 1240)),
    "6x8": ("w432h576", (461, 585), (1844, 2436), (1920, 2436)),
    # As programs draw it that use the paper's true size at 300 dpi.
    "6x4 true": ("w288h432", (432, 288), (1800, 1200), (1920, 1240)),
}

GAMMAS = {
    "StpGamma": "1200", "StpCyanGamma": "1100", "StpMagentaGamma": "950",
    "StpYellowGamma": "1050", "StpLegacyDyesubGamma": "True",
}
EVERY_TONE = GAMMAS | {
    "StpBrightness": "50", "StpContrast": "100", "StpSaturation": "150",
    "StpColorCorrection": "Accurate", "StpCyanBalance": "1020", "StpMagentaBalance": "990",
    "StpYellowBalance": "1010", "StpLinearContrast": "True",
}
MATRIX_ICC = {"ICCProfile": "k905-bench-matrix.icc"}
TABLE_ICC = {"ICCProfile": "k905-bench-table.icc"}


@dataclass
class Workload:
    name: str
    gate: float
    goal: float
    paper: str = "6x8"
    size: tuple = None  # of the raster; the paper's target size when not given
    settings: dict = field(default_factory=dict)
    kind: str = "photo"
    packed: bool = False  # a compressed raster stream
    pages: int = 1
    copies: int = 1
    rotated: bool = False
    interlaced: bool = False
    queued: bool = False  # through the program that a queue's PPD file names, as CUPS runs it
    memory_gate: float = None
    memory_goal: float = None

    @property
    def raster_size(self):
        if self.size:
            return self.size
        width, height = PAPERS[self.paper][2]
        height *= 2 if self.interlaced else 1
        return (height, width) if self.rotated else (width, height)

    @property
    def canvas(self):
        width, height = PAPERS[self.paper][3]
        return (width, height * (2 if self.interlaced else 1))

    @property
    def profile(self):
        return self.settings.get("ICCProfile")


WORKLOADS = [
    Workload("6x4", 1.6, 1.2, paper="6x4", memory_gate=22, memory_goal=16),
    Workload("6x4 packed", 1.6, 1.2, paper="6x4", packed=True),
    Workload("6x4 in a queue", 2.6, 2.2, paper="6x4 true", queued=True),
    Workload("6x8", 1.6, 1.2, memory_gate=36, memory_goal=23),
    Workload("6x8 from 2400x3200", 2.4, 1.6, size=(2400, 3200)),
    Workload("6x8 from 1200x1600", 2.4, 1.5, size=(1200, 1600)),
    Workload("6x8 doubled", 2, 1.3, size=(922, 1218)),
    Workload("6x8 doubled smooth", 2, 1.3, size=(922, 1218), kind="smooth"),
    Workload("6x8 doubled noise", 2, 1.3, size=(922, 1218), kind="noise"),
    Workload("6x8 halved", 2, 1.3, size=(3688, 4872)),
    Workload("6x8 halved smooth", 2, 1.3, size=(3688, 4872), kind="smooth"),
    Workload("6x8 halved noise", 2, 1.3, size=(3688, 4872), kind="noise"),
    Workload("6x8 every tone", 5, 3.3, settings=EVERY_TONE),
    Workload("6x8 saturation", 2.2, 1.5, settings={"StpSaturation": "200"}),
    Workload("6x8 gammas", 1.7, 1.25, settings=GAMMAS),
    Workload("6x8 ICC matrix", 1.25, 0.95, settings=MATRIX_ICC),
    Workload("6x8 ICC table", 1.15, 0.65, settings=TABLE_ICC),
    Workload("6x8 ICC matrix noise", 1.4, 1.25, settings=MATRIX_ICC, kind="noise"),
    Workload("6x8 ICC table noise", 1.4, 1.25, settings=TABLE_ICC, kind="noise"),
    Workload("6x8 rotated", 2.2, 1.55, rotated=True),
    Workload("6x8 interlaced", 1.6, 1.25, interlaced=True, memory_gate=64, memory_goal=37),
    Workload("6x8 rotated interlaced", 3, 2.2, rotated=True, interlaced=True),
    Workload("100 pages 6x4", 1.8, 1.35, paper="6x4", pages=100),
    Workload("10 copies 6x4", 1.6, 1.2, paper="6x4", copies=10),
]


class Inputs:
    """Rasters, PPD files and profiles in one folder, created when they are needed."""

    def __init__(self, folder, programs):
        self.folder = folder
        self.make = os.path.join(programs, "make_workloads")
        os.makedirs(folder, exist_ok=True)
        if not os.path.exists(self.path("k905-bench-table.icc")):
            subprocess.run([self.make, "profiles", folder], check=True)

    def path(self, name):
        return os.path.join(self.folder, name)

    def raster(self, work):
        width, height = work.raster_size
        points = PAPERS[work.paper][1]
        form = "packed" if work.packed else "plain"
        dpi_y = 600 if work.interlaced else 300
        rotated = 1 if work.rotated else 0
        name = f"{work.kind}-{width}x{height}-{work.pages}-{form}-{dpi_y}-{rotated}-{work.paper}.ras"
        path = self.path(name.replace(" ", "-"))
        if not os.path.exists(path):
            arguments = [work.kind, width, height, work.pages, form, dpi_y, rotated, *points]
            subprocess.run([self.make, "page", *map(str, arguments), path + ".part"], check=True)
            os.rename(path + ".part", path)
        return path

    def ppm(self, kind, width, height):
        path = self.path(f"{kind}-{width}x{height}.ppm")
        if not os.path.exists(path):
            subprocess.run([self.make, "ppm", kind, str(width), str(height), path], check=True)
        return path

    def ppd(self, work):
        """A PPD file with the settings as default choices, as the filter reads them."""
        choices = {"PageSize": PAPERS[work.paper][0], "ColorModel": "RGB"} | work.settings
        name = work.name.replace(" ", "-")
        lines = ['*PPD-Adobe: "4.3"', '*FormatVersion: "4.3"', '*FileVersion: "1.0"',
                 "*LanguageVersion: English", "*LanguageEncoding: ISOLatin1", '*PCFileName: "BENCH.PPD"',
                 '*Manufacturer: "K905"', '*Product: "(K905)"', '*ModelName: "K905"',
                 '*ShortNickName: "K905"', '*NickName: "K905 bench"', '*PSVersion: "(3010.000) 0"',
                 "*OpenGroup: General/General"]
        for keyword, choice in choices.items():
            lines += [f"*OpenUI *{keyword}: PickOne", f"*Default{keyword}: {choice}",
                      f'*{keyword} {choice}/{choice}: ""', f"*CloseUI: *{keyword}"]
        lines += ["*CloseGroup: General", ""]
        path = self.path(f"{name}.ppd")
        with open(path, "w", encoding="ascii") as file:
            file.write("\n".join(lines))
        return path
