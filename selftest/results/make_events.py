"""Makes event files of runs that were never made: every check of the standard catalogue, on filesystems that
differ in a way that the number of the run decides."""
import json
import pathlib
import random

CHECK_IDS = pathlib.Path(__file__).resolve().parents[2] / "tests" / "check_ids.txt"
FILESYSTEMS = [("ram", "ram-handler 53.1 (21.11.2026)"), ("ffs", "FastFileSystem 54.3 (4.2.2024)"),
               ("fat", "fat-handler 53.19 (9.1.2022)"), ("ext", "ext-handler 1.7 (1.1.2025)")]


def check_ids():
    lines = CHECK_IDS.read_text().splitlines()
    return [line for line in lines if line and not line.startswith(("#", "Further."))]


def error(text, code=0, kind="ERROR"):
    return {"class": kind, "bold": True, "code": code, "text": text}


def verdict_of(check, index, number, chance):
    """The verdict of the check with that index in the run with that number, and what explains it."""
    group = check.split(".")[0]
    if number == 0:
        return "pass", {}
    if number % 4 == 2 and group in ("CreateSoftLink", "ReadSoftLink", "CreateHardLink"):
        return "unsupported", {"result": 20}
    if number % 12 == 3 and group == "Lock":
        if check.endswith("MissingObject"):
            return "fail", {"result": 20, "ended": True}
        return "blocked", {"cause": "Lock.MissingObject"}
    if check == "Delete.OpenFile" and number % 2 == 1:
        return "fail", {"result": 10, "diagnostics": [
            error('Delete("FILE01") succeeded, but should have failed, as it was in use.'),
            error("Close() failed for \"FILE01\"; #205 object not found <b>&amp; `|`", 205, "CLEANUP")]}
    if check == "Rename.DirectoryLoop" and number % 3 == 1:
        return "fail", {"result": 10, "diagnostics": [error("Rename() moved a directory into itself.")]}
    if group == "SetComment" and number % 4 == 1:
        return "warn", {"diagnostics": [error("SetComment() of the root failed; #212 object wrong type", 212, "WARN")]}
    if chance.random() < 0.01:
        return "fail", {"result": 10, "diagnostics": [error(f"{check.replace('.', '(')}) failed; #{200 + index} in run {number}", 200 + index)]}
    return "pass", {}


def events_of(number, seed=1):
    """The events of the run with that number, from 0; run 0 is one in which everything passes."""
    chance = random.Random(seed * 100003 + number)
    name, filesystem = FILESYSTEMS[number % len(FILESYSTEMS)]
    yield {"event": "run", "version": 1, "program": "53.24", "device": "DH0:", "words": "NI",
           "arguments": ["--mount", f"DH0={name}", "DH0:", "NI"],
           "port": "packet" if number // 4 % 2 else "vector", "handler": name, "time": "2026-11-21T19:00:00Z"}
    yield {"event": "target", "device": "DH0:", "volume": "DH0 Disk", "filesystem": filesystem, "dostype": "0x444F5309"}
    row, last_group, place, calls, total = 0, None, 0, 1, {}
    for index, check in enumerate(check_ids()):
        group = check.split(".")[0]
        if group != last_group:
            row, last_group, place = row + 1, group, 0
        place += 1
        verdict, more = verdict_of(check, index, number, chance)
        if more.pop("ended", False):
            yield {"event": "handler-ended", "id": check, "call": "FSLock", "how": "signal 11 (SIGSEGV)", "restarted": True}
        total[verdict] = total.get(verdict, 0) + 1
        yield {"event": "check", "id": check, "catalogue": "standard", "row": row, "number": place, "verdict": verdict,
               "result": 0, "calls": [calls, calls + 9], "us": 41 + index, "diagnostics": [], **more}
        calls += 10
    yield {"event": "end", "result": 10 if total.get("fail") else 0, "checks": total, "us": 4711}


def write_events(path, number):
    with open(path, "w", encoding="utf-8") as file:
        for event in events_of(number):
            file.write(json.dumps(event) + "\n")


def write_runs(folder, count):
    """Writes the events of `count` runs into `folder` and returns the paths of the files."""
    pathlib.Path(folder).mkdir(exist_ok=True)
    paths = []
    for number in range(count):
        name = FILESYSTEMS[number % len(FILESYSTEMS)][0]
        paths.append(pathlib.Path(folder) / f"{name}-{number + 1}.jsonl")
        write_events(paths[-1], number)
    return paths


if __name__ == "__main__":
    import sys
    write_runs(sys.argv[1], int(sys.argv[2]))
