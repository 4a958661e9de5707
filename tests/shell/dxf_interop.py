#!/usr/bin/env python3
"""Drawing files against an independent DXF library (ezdxf): it reads every file linkmesh
writes without audit errors, with our tables' cell texts, block references with their xdata
and nesting, and the same handles; and files it writes open in linkmesh with their content.

usage: dxf_interop.py LINKMESH
"""
import os
import subprocess
import sys
import tempfile

import ezdxf

FAILURES = []


def check(condition, what):
    if not condition:
        FAILURES.append(what)
        print("FAILED: " + what)


def linkmesh(program, folder, script, drawing=None, load=False):
    path = os.path.join(folder, "script.scr")
    with open(path, "w", encoding="utf-8") as f:
        f.write(script)
    out = os.path.join(folder, "out.txt")
    args = [program, "--quiet", "--transcript", out] + ([] if load else ["--no-load"])
    if drawing:
        args.append(drawing)
    args.append(path)
    # The plug-in keeps its settings under the user's config folder: a folder of the test's.
    env = dict(os.environ, XDG_CONFIG_HOME=os.path.join(folder, "config"))
    result = subprocess.run(args, capture_output=True, text=True, env=env)
    with open(out, encoding="utf-8") as f:
        transcript = f.read()
    check(result.returncode == 0, "linkmesh ran the script: " + result.stderr + transcript)
    return transcript


def audited(path):
    doc = ezdxf.readfile(path)
    auditor = doc.audit()
    check(not auditor.has_errors, "%s: audit errors %s" % (path, [str(e) for e in auditor.errors]))
    check(not auditor.has_fixes, "%s: audit fixes %s" % (path, [str(e) for e in auditor.fixes]))
    return doc


def xdata(entity, app):
    return [value for code, value in entity.get_xdata(app)] if entity.has_xdata(app) else []


def main():
    program = sys.argv[1]
    with tempfile.TemporaryDirectory() as folder:
        ours = os.path.join(folder, "ours.dxf")
        # The links are imported through the plug-in's Parameter Links Manager.
        links = os.path.join(folder, "links.csv")
        with open(links, "w", encoding="utf-8") as f:
            f.write("width,Sizes.xlsx*Sizes*$B$2\n"
                    "10.Width,Sizes.xlsx*Sizes*$B$2\n"
                    "11|F.Width,Sizes.xlsx*Sizes*$B$3\n")
        made = linkmesh(program, folder, "\n".join([
            "PARAM width 800",
            "BLOCK Door",
            "BLOCKPROP Door Width distance 800",
            "BLOCK Frame",
            "INSERT Door 0,0 Frame",
            "INSERT Door 100,0",
            "INSERT Frame 2000,0",
            "TABLE 3 2 0,0",
            'TABLEDIT 12 A1 "Door sizes"',
            'TABLEDIT 12 B2 "{\\fArial;900}"',
            "Lmesh_LinkParameters",
            "> press 107",
            "> type 1152 " + links,
            "> ok",
            "> press 2",
            "LAYOUT NEW",
            "INSERT Door 5,5",
            "SAVEAS " + ours, ""]), load=True)
        check("Inserted Door as F into the block Frame." in made, "handles as planned: " + made)
        check("Inserted Door as 10." in made and "Inserted Frame as 11." in made
              and "Table 12:" in made, "handles as planned: " + made)

        doc = audited(ours)
        db = doc.entitydb
        # The same handles, the table's cell texts, xdata and nesting.
        table = db.get("12")
        check(table is not None and table.dxftype() == "ACAD_TABLE", "table 12 found")
        if table is not None:
            texts = [t.value for t in table.xtags.get_subclass("AcDbTable") if t.code == 1]
            check("Door sizes" in texts and "{\\fArial;900}" in texts, "cell texts: %s" % texts)
        door = db.get("10")
        check(door is not None and door.dxftype() == "INSERT" and door.dxf.name == "Door",
              "reference 10 of Door")
        if door is not None:
            check(xdata(door, "LMESH_EXPRESSION_AD66626A") == ["Width:Sizes.xlsx*Sizes*$B$2"],
                  "xdata of 10: %s" % xdata(door, "LMESH_EXPRESSION_AD66626A"))
        frame = db.get("11")
        check(frame is not None and frame.dxf.name == "Frame", "reference 11 of Frame")
        if frame is not None:
            nested = xdata(frame, "LMESH_EXPRESSION_368AE0D")
            check(len(nested) == 1 and nested[0].startswith("F") and
                  nested[0].endswith("Width:Sizes.xlsx*Sizes*$B$3"), "nested link: %s" % nested)
        inner = [e for e in doc.blocks.get("Frame") if e.dxftype() == "INSERT"]
        check([(e.dxf.handle, e.dxf.name) for e in inner] == [("F", "Door")],
              "Frame holds the reference F of Door")
        check(len(doc.layouts) == 3, "model space and two layouts: %s" % doc.layouts.names())
        in_layout = [e.dxf.name for name in doc.layouts.names() if name != "Model"
                     for e in doc.layouts.get(name) if e.dxftype() == "INSERT"]
        check(in_layout == ["Door"], "the layout's reference: %s" % in_layout)
        check(ours in [ours] and "LMESH_EXPRESSION_AD66626A" in [a.dxf.name for a in doc.appids],
              "the parameter link's application is registered")

        # ezdxf writes the drawing back with a new reference, a nested block, xdata and a
        # circle; linkmesh opens it with all of that.
        msp = doc.modelspace()
        added = msp.add_blockref("Door", (7, 8))
        added.set_xdata("LMESH_EXPRESSION_368AE0D", [(1000, "Width:Other.xlsx*S*$C$9")])
        window = doc.blocks.new("Window")
        window.add_blockref("Door", (1, 1))
        msp.add_blockref("Window", (30, 0))
        msp.add_circle((0, 0), 1)
        theirs = os.path.join(folder, "theirs.dxf")
        doc.saveas(theirs)
        listed = linkmesh(program, folder, "\n".join([
            "TABLELIST 12", "PROPS 10", "XDLIST 10", "XDLIST " + added.dxf.handle,
            "PROPS 11", "PARAMS", ""]), theirs)
        check("1 CIRCLE entities not kept." in listed, "the circle is reported: " + listed)
        check('B2 "{\\fArial;900}"' in listed, "the cell text: " + listed)
        check("1000 Width:Other.xlsx*S*$C$9" in listed, "ezdxf's xdata: " + listed)
        check("1000 Width:Sizes.xlsx*Sizes*$B$2" in listed, "our xdata: " + listed)
        check("width = 800 = 800" in listed, "the parameter: " + listed)
        check("holds F (Door)" in listed, "the nested reference: " + listed)

        # A drawing made by ezdxf alone.
        fresh = ezdxf.new("R2018")
        fresh.appids.new("LMESH_EXPRESSION_368AE0D")
        bolt = fresh.blocks.new("Bolt")
        bolt.add_line((0, 0), (1, 0))
        plate = fresh.blocks.new("Plate")
        plate.add_blockref("Bolt", (2, 2))
        ref = fresh.modelspace().add_blockref("Plate", (10, 20), dxfattribs={"rotation": 90})
        ref.set_xdata("LMESH_EXPRESSION_368AE0D", [(1000, "Bolt\x1dLength:B.xlsx*S*$A$1")])
        fresh.modelspace().add_text("note")
        path = os.path.join(folder, "fresh.dxf")
        fresh.saveas(path)
        listed = linkmesh(program, folder, "PROPS %s\nXDLIST %s\n" % (ref.dxf.handle,
                                                                      ref.dxf.handle), path)
        check("reference of Plate" in listed and "at 10,20,0" in listed, "ezdxf's insert: " + listed)
        check("Bolt<1D>Length:B.xlsx*S*$A$1" in listed, "ezdxf's xdata: " + listed)
        check("1 TEXT entities not kept." in listed, "the text is reported: " + listed)

        # What linkmesh saved from ezdxf's file is again clean for ezdxf.
        resaved = os.path.join(folder, "resaved.dxf")
        linkmesh(program, folder, "SAVEAS " + resaved + "\n", theirs)
        again = audited(resaved)
        check(again.entitydb.get(added.dxf.handle) is not None, "ezdxf's reference kept its handle")
    if FAILURES:
        print("%d checks failed" % len(FAILURES))
        return 1
    print("all interoperability checks passed")
    return 0


if __name__ == "__main__":
    sys.exit(main())
