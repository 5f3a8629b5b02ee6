#!/usr/bin/env python3
"""Writes a large orvhost project: PARTS library parts (every fourth one monitored) and ELEMENTS
placed elements spread over them and over the four types that refer to a part.

usage: make-project.py FOLDER PARTS ELEMENTS [SERVICE]

SERVICE is the base address the monitored parts' check_url points at (default
http://127.0.0.1:1, where nothing answers).
"""
import json
import os
import sys
import uuid

folder, parts, elements = sys.argv[1], int(sys.argv[2]), int(sys.argv[3])
service = sys.argv[4] if len(sys.argv) > 4 else "http://127.0.0.1:1"
library = os.path.join(folder, "Library")

MONITORED = """<?xml version="1.0" encoding="UTF-8"?>
<Symbol><ParamSection><Parameters>
<Length Name="A"><Value>0.9</Value></Length>
<Length Name="B"><Value>2.1</Value></Length>
<String Name="check_url"><Value><![CDATA["{service}/check?id=P{n}&version=1"]]></Value></String>
<RealNum Name="uptodate"><Value>0</Value></RealNum>
<Material Name="mat"><Value>12</Value></Material>
<String Name="maker"><Value><![CDATA["Brennerstein"]]></Value></String>
</Parameters></ParamSection></Symbol>
"""
PLAIN = """<?xml version="1.0" encoding="UTF-8"?>
<Symbol><ParamSection><Parameters>
<Length Name="A"><Value>1.0</Value></Length>
<Length Name="B"><Value>1.0</Value></Length>
<RealNum Name="uptodate"><Value>0</Value></RealNum>
<Material Name="mat"><Value>3</Value></Material>
</Parameters></ParamSection></Symbol>
"""

names = []
for n in range(parts):
    name = "P%03d/part%05d.xml" % (n // 1000, n)
    path = os.path.join(library, name)
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "w") as f:
        f.write(MONITORED.format(n=n, service=service) if n % 4 == 0 else PLAIN)
    names.append(name)

types = [6, 4, 5, 7]
placed = []
for n in range(elements):
    placed.append({"guid": str(uuid.UUID(int=n + 1)).upper(), "type": types[n % 4],
                   "part": names[(n * 7) % parts]})
with open(os.path.join(folder, "project.json"), "w") as f:
    json.dump({"format": "orvhost-project/1", "library": "Library", "elements": placed}, f)
