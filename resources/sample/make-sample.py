#!/usr/bin/env python3
"""Writes fieldnotes-threadtime.log: a made-up device log in threadtime layout
for the simulated device and for trying the viewer without a phone.

The app "org.example.fieldnotes" runs three processes (the UI, a sync worker
and a renderer); the log has every level from V to F, JSON and Base64
payloads, an app crash with its stack trace and the system's reaction.
Run it again to regenerate the file; the output is the same every time."""

import base64
import json
import random
from datetime import datetime, timedelta

rng = random.Random(20261122)
t = datetime(2026, 3, 17, 9, 41, 2, 118000)
lines = []

SYSTEM, UI, SYNC, RENDER, LAUNCHER, SYSUI = 1102, 4120, 4188, 4236, 2311, 1544


def emit(pid, tid, level, tag, message, step_ms=None):
    global t
    t += timedelta(milliseconds=step_ms if step_ms is not None else rng.randint(1, 40))
    stamp = t.strftime("%m-%d %H:%M:%S.") + f"{t.microsecond // 1000:03d}"
    lines.append(f"{stamp} {pid:5d} {tid:5d} {level} {tag:<8}: {message}")


def start_proc(pid, name, kind, component):
    emit(SYSTEM, SYSTEM + 31, "I", "ActivityManager",
         f"Start proc {pid}:{name}/u0a121 for {kind} {component}")


def b64(obj):
    return base64.b64encode(json.dumps(obj, separators=(",", ":")).encode()).decode()


emit(SYSTEM, SYSTEM + 12, "I", "ActivityManager",
     "START u0 {act=android.intent.action.MAIN cat=[android.intent.category.LAUNCHER] "
     "flg=0x10200000 cmp=org.example.fieldnotes/.ui.MainActivity} from uid 10040")
start_proc(UI, "org.example.fieldnotes", "activity", "org.example.fieldnotes/.ui.MainActivity")
emit(UI, UI, "I", "FieldNotes", "Application created (version 3.4.1, build 3401)")
emit(UI, UI, "V", "NoteStore", "Opening database notes.db (schema 12)")
emit(UI, UI, "D", "NoteStore", "Migrations: none needed")
emit(UI, UI + 7, "D", "Settings", 'Loaded preferences {"theme":"dark","syncIntervalMin":15,"wifiOnly":true}')
emit(LAUNCHER, LAUNCHER, "D", "Launcher", "onPause")
emit(SYSTEM, SYSTEM + 40, "I", "ActivityManager", "Displayed org.example.fieldnotes/.ui.MainActivity: +612ms")
start_proc(SYNC, "org.example.fieldnotes:sync", "service", "org.example.fieldnotes/.sync.SyncService")
start_proc(RENDER, "org.example.fieldnotes:render", "service", "org.example.fieldnotes/.render.MapTileService")

note_ids = list(range(100, 160))
for cycle in range(1, 15):
    emit(UI, UI, "V", "NoteList", f"bind position={cycle % 9} id={rng.choice(note_ids)}")
    emit(UI, UI + 3, "D", "NoteStore", f"query notes where folder={cycle % 4} -> {rng.randint(3, 40)} rows in {rng.randint(1, 9)}ms")
    request = {"op": "pull", "since": 1773740000 + cycle * 900, "device": "a7f3", "folders": [0, 1, 2, 3]}
    emit(SYNC, SYNC + 2, "D", "SyncWorker", "request " + json.dumps(request, separators=(",", ":")))
    changes = [{"id": rng.choice(note_ids), "rev": rng.randint(2, 30), "title": rng.choice(
        ["Oak survey", "Creek sample", "Ridge path", "Moss plot", "Bird count"])} for _ in range(rng.randint(1, 3))]
    emit(SYNC, SYNC + 2, "V", "SyncWorker", "response body (base64) " + b64({"changes": changes, "more": False}))
    emit(SYNC, SYNC + 2, "I", "SyncWorker", f"Pulled {len(changes)} change(s) in {rng.randint(80, 900)}ms")
    if cycle % 4 == 0:
        emit(SYNC, SYNC + 5, "W", "SyncWorker", f"Server slow: {rng.randint(2000, 5000)}ms for /v2/notes (attempt {cycle // 4})")
    if cycle % 5 == 0:
        emit(SYNC, SYNC + 5, "E", "SyncWorker", "Upload failed: HTTP 503 Service Unavailable; retrying in 30s")
    for tile in range(rng.randint(2, 5)):
        z, x, y = 14, 8800 + rng.randint(0, 40), 5300 + rng.randint(0, 40)
        emit(RENDER, RENDER + 9, "V", "TileCache", f"miss z={z} x={x} y={y}")
        emit(RENDER, RENDER + 9, "D", "TileRenderer", f"rendered {z}/{x}/{y} in {rng.randint(4, 30)}ms")
    emit(UI, UI + 11, "I", "Choreographer", f"Skipped {rng.randint(31, 70)} frames!  The application may be doing too much work on its main thread.") if cycle % 6 == 0 else None
    emit(SYSUI, SYSUI, "D", "StatusBar", f"updateNotification id={cycle} pkg=org.example.fieldnotes")
    emit(SYSTEM, SYSTEM + 22, "D", "PowerManagerService",
         f'acquire lock={200000000 + cycle * 7919}, flags=0x1, tag="SyncLock", name=org.example.fieldnotes:sync, ws=null, uid=10121, pid={SYNC}')
    emit(UI, UI, "D", "NoteEditor", f"autosave note {rng.choice(note_ids)} ({rng.randint(120, 4000)} bytes)", step_ms=rng.randint(200, 900))

emit(UI, UI + 3, "I", "NoteEditor", 'Export requested: <export format="gpx" notes="14" />')
emit(UI, UI + 3, "W", "NoteEditor", "Photo attachment missing: content://org.example.fieldnotes.files/photos/IMG_0412.jpg")
emit(RENDER, RENDER + 9, "E", "TileRenderer", "Out of texture memory: 96MB used of 96MB")
emit(RENDER, RENDER, "F", "libc", f"Fatal signal 11 (SIGSEGV), code 1 (SEGV_MAPERR), fault addr 0x0 in tid {RENDER + 9} (TileRenderer), pid {RENDER} (fieldnotes:render)")
emit(SYSTEM, SYSTEM + 31, "I", "ActivityManager", f"Process org.example.fieldnotes:render (pid {RENDER}) has died: fore SVC")
emit(SYSTEM, SYSTEM + 31, "W", "ActivityManager", "Scheduling restart of crashed service org.example.fieldnotes/.render.MapTileService in 1000ms")

# The UI process crashes on a null note while exporting.
trace = [
    "FATAL EXCEPTION: main",
    f"Process: org.example.fieldnotes, PID: {UI}",
    "java.lang.IllegalStateException: Note 131 has no location",
    "\tat org.example.fieldnotes.export.GpxWriter.writePoint(GpxWriter.java:88)",
    "\tat org.example.fieldnotes.export.GpxWriter.write(GpxWriter.java:41)",
    "\tat org.example.fieldnotes.ui.ExportFragment.onExportClicked(ExportFragment.java:120)",
    "\tat android.view.View.performClick(View.java:7125)",
    "\tat android.view.View$PerformClick.run(View.java:27336)",
    "\tat android.os.Handler.handleCallback(Handler.java:883)",
    "\tat android.os.Handler.dispatchMessage(Handler.java:100)",
    "\tat android.os.Looper.loop(Looper.java:214)",
    "\tat android.app.ActivityThread.main(ActivityThread.java:7356)",
    "\tat java.lang.reflect.Method.invoke(Native Method)",
    "Caused by: java.lang.NullPointerException: Attempt to read from field 'double org.example.fieldnotes.model.Location.lat' on a null object reference",
    "\t... 10 more",
]
for i, text in enumerate(trace):
    emit(UI, UI, "E", "AndroidRuntime", text, step_ms=0 if i else 5)
emit(SYSTEM, SYSTEM + 31, "W", "ActivityManager", "  Force finishing activity org.example.fieldnotes/.ui.MainActivity")
emit(SYSTEM, SYSTEM + 31, "I", "ActivityManager", f"Process org.example.fieldnotes (pid {UI}) has died: fore TOP")
emit(LAUNCHER, LAUNCHER, "D", "Launcher", "onResume")
emit(SYNC, SYNC + 2, "I", "SyncWorker", "UI gone; finishing the running sync")

UI2 = 4402
start_proc(UI2, "org.example.fieldnotes", "activity", "org.example.fieldnotes/.ui.MainActivity")
emit(UI2, UI2, "I", "FieldNotes", "Application created (version 3.4.1, build 3401)")
emit(UI2, UI2, "W", "FieldNotes", "Previous run crashed; offering to send the report")
emit(UI2, UI2, "D", "CrashReport", "report " + b64({"app": "fieldnotes", "version": "3.4.1", "exception": "IllegalStateException", "note": 131}))
for i in range(20):
    emit(UI2, UI2 + 1, rng.choice("VDDI"), "NoteList", f"bind position={i % 9} id={rng.choice(note_ids)}")
    emit(SYNC, SYNC + 2, rng.choice("DDIW"), "SyncWorker", f"heartbeat {i} queue={rng.randint(0, 5)}")

with open("fieldnotes-threadtime.log", "w", newline="\n") as out:
    out.write("\n".join(lines) + "\n")
print(f"wrote {len(lines)} lines")
