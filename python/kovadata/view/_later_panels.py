"""The panels that are made when the first figures are seen already, and those of tabs that are closed at first, by the first
part of their commands. Their import is left until then as well."""

from __future__ import annotations

from typing import Dict, List, Type

from ._about import About
from ._boxes import Boxes
from ._frame_traces import FrameTraces
from ._panel import Panel
from ._precursors import Precursors
from ._run_maps import RunMaps
from ._states import States

SEEN: List[Type[Panel]] = [FrameTraces, Boxes, About, States]
OF_TABS: Dict[str, Type[Panel]] = {"maps": RunMaps, "precursors": Precursors, "precursor": Precursors}
