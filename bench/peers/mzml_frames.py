"""mzML: a spectrum per frame with three arrays, zlib-compressed in base64, found by an index of byte offsets."""

import base64
import pathlib
import re
import zlib
from collections.abc import Iterable

import numpy
from lxml import etree

from peer import Format, Frame

HEAD = """<?xml version="1.0" encoding="utf-8"?>
<indexedmzML xmlns="http://psi.hupo.org/ms/mzml">
<mzML version="1.1.0">
<cvList count="1"><cv id="MS" fullName="Mass spectrometry ontology" URI="psi-ms.obo"/></cvList>
<fileDescription><fileContent><cvParam cvRef="MS" accession="MS:1000579" name="MS1 spectrum"/></fileContent>
</fileDescription>
<run id="run"><spectrumList count="{count}">
"""
ARRAY = """<binaryDataArray encodedLength="{size}"><cvParam cvRef="MS" accession="MS:1000519" name="32-bit integer"/>
<cvParam cvRef="MS" accession="MS:1000574" name="zlib compression"/>
<cvParam cvRef="MS" accession="MS:1000786" name="non-standard data array" value="{name}"/>
<binary>{text}</binary></binaryDataArray>
"""
SPECTRUM = """<spectrum index="{number}" id="frame={frame_id}" defaultArrayLength="{length}">
<binaryDataArrayList count="3">
{arrays}</binaryDataArrayList></spectrum>
"""
OFFSET = re.compile(rb'<offset idRef="frame=(\d+)">(\d+)</offset>')
TAIL_SIZE = 256


def encode(name: str, values: numpy.ndarray) -> str:
    text = base64.b64encode(zlib.compress(values.astype("<u4").tobytes())).decode()
    return ARRAY.format(size=len(text), name=name, text=text)


def write(path: pathlib.Path, frames: Iterable[tuple[int, Frame]]) -> None:
    frames = list(frames)
    offsets = []
    with open(path, "wb") as file:
        file.write(HEAD.format(count=len(frames)).encode())
        for number, (frame_id, frame) in enumerate(frames):
            offsets.append(f'<offset idRef="frame={frame_id}">{file.tell()}</offset>\n')
            arrays = "".join(encode(name, values) for name, values in frame._asdict().items())
            file.write(SPECTRUM.format(number=number, frame_id=frame_id, length=len(frame.scan),
                                       arrays=arrays).encode())
        file.write(b"</spectrumList></run></mzML>\n")
        start = file.tell()
        file.write(f'<indexList count="1"><index name="spectrum">\n{"".join(offsets)}</index></indexList>\n'
                   f"<indexListOffset>{start}</indexListOffset></indexedmzML>\n".encode())


class MzmlReader:
    def __init__(self, path: pathlib.Path) -> None:
        self.file = open(path, "rb")
        self.file.seek(max(0, path.stat().st_size - TAIL_SIZE))
        start = int(re.search(rb"<indexListOffset>(\d+)<", self.file.read())[1])
        self.file.seek(start)
        found = [(int(frame_id), int(offset)) for frame_id, offset in OFFSET.findall(self.file.read())]
        ends = [offset for _, offset in found[1:]] + [start]
        self.spans = {frame_id: (offset, end) for (frame_id, offset), end in zip(found, ends)}

    def read(self, frame_id: int) -> Frame:
        offset, end = self.spans[frame_id]
        self.file.seek(offset)
        # What follows the last spectrum up to the index closes the elements around it.
        text = self.file.read(end - offset)
        spectrum = etree.fromstring(text[: text.rindex(b"</spectrum>") + 11], etree.XMLParser(huge_tree=True))
        arrays = {}
        for array in spectrum.iter("binaryDataArray"):
            name = array.find("cvParam[@accession='MS:1000786']").get("value")
            values = zlib.decompress(base64.b64decode(array.findtext("binary")))
            arrays[name] = numpy.frombuffer(values, "<u4")
        return Frame(**arrays)


FORMATS = [Format("mzML, zlib", ".mzML", MzmlReader, write)]
