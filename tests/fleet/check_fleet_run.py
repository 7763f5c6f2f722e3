"""Checks the run folder a fleet play left against what the test expects.

    check_fleet_run.py EXPECTED.json

EXPECTED.json: {"run": RUN_FOLDER,
                "ran": [hosts whose documents must be fetched and compared],
                "could_not_run": {host: regular expression its reason must match},
                "limited": host that must be flagged limited, or null,
                "either": [hosts that either ran or are named with a reason]}
Prints what it found; exits 1 with the reasons when anything differs.
"""
import json
import os
import re
import sys


def main():
    with open(sys.argv[1], encoding="utf-8") as f:
        expected = json.load(f)
    run = expected["run"]
    problems = []

    def check(condition, text):
        if not condition:
            problems.append(text)
        return condition

    summary_path = os.path.join(run, "summary.json")
    if not check(os.path.isfile(summary_path), f"no {summary_path}"):
        return report(problems)
    with open(summary_path, encoding="utf-8") as f:
        summary = json.load(f)
    text_path = os.path.join(run, "summary.txt")
    check(os.path.isfile(text_path), f"no {text_path}")
    text = open(text_path, encoding="utf-8").read() if os.path.isfile(text_path) else ""
    lines = [line.strip() for line in text.splitlines()]
    page_path = os.path.join(run, "report.html")
    check(os.path.isfile(page_path), f"no {page_path}")
    page = open(page_path, encoding="utf-8").read() if os.path.isfile(page_path) else ""
    check(page.startswith("<!DOCTYPE html>") and page.rstrip().endswith("</html>"), "report.html is not a whole page")

    compared = {}
    steady = set()
    for group in summary.get("groups", []):
        for host in group.get("hosts", []):
            compared[host["host"]] = host
            if host.get("steady") is True:
                steady.add(host["host"])
    refused = {os.path.basename(entry.get("file", "")) for entry in summary.get("refused", [])}
    could_not_run = {entry["host"]: entry["reason"] for entry in summary.get("couldNotRun", [])}
    flagged = {entry["host"]: entry for entry in summary.get("flagged", [])}
    print(f"compared: {sorted(compared)}; steady: {sorted(steady)}; flagged: "
          f"{ {host: entry.get('flags') for host, entry in flagged.items()} }; could not run: {could_not_run}")

    def ran(host):
        document = os.path.join(run, host + ".json")
        if not check(os.path.isfile(document), f"{host}: no document {document}"):
            return
        with open(document, encoding="utf-8") as f:
            name = json.load(f).get("host", {}).get("name")
        check(name == host, f"{host}: its document names {name!r}")
        check(host in compared, f"{host}: not among the hosts compared in summary.json")
        check(host + ".json" not in refused, f"{host}: its document was refused")
        check(f"<h3>{escaped(host)}</h3>" in page, f"{host}: report.html has no section of its own")
        check(host not in could_not_run, f"{host}: named as not run: {could_not_run.get(host)}")

    for host in expected["ran"]:
        ran(host)

    for host, pattern in expected["could_not_run"].items():
        reason = could_not_run.get(host)
        if check(reason is not None, f"{host}: not named in couldNotRun"):
            check(re.search(pattern, reason) is not None, f"{host}: reason {reason!r} does not match {pattern!r}")
        shown = re.sub(r"[\x00-\x1f\x7f]", "?", host)
        check(any(line.startswith(shown + ": ") and re.search(pattern, line[len(shown) + 2:]) for line in lines),
              f"{host}: summary.txt has no line naming it with a reason matching {pattern!r}")
        check(not os.path.exists(os.path.join(run, host + ".json")), f"{host}: a document was fetched")

    for host in expected.get("either", []):
        if host in compared:
            ran(host)
        else:
            check(bool(could_not_run.get(host)), f"{host}: neither compared nor named with a reason")

    known = set(expected["ran"]) | set(expected["could_not_run"]) | set(expected.get("either", []))
    check(set(could_not_run) <= known, f"hosts named as not run that should have run: {set(could_not_run) - known}")

    limited = expected.get("limited")
    if limited:
        entry = flagged.get(limited)
        if check(entry is not None, f"{limited}: not flagged in summary.json"):
            check("limited" in entry.get("flags", []), f"{limited}: flagged {entry.get('flags')}, not limited")
        check(any(line.startswith(limited + ": ") for line in lines),
              f"{limited}: summary.txt has no flag line for it")

    # fleet.csv: one record for each steady host, the host in the model field.
    results = os.path.join(run, "fleet.csv")
    records = []
    if os.path.isfile(results):
        with open(results, encoding="utf-8") as f:
            records = [line.rstrip("\n") for line in f if line.strip() and not line.startswith("#")]
    named = []
    for record in records:
        fields = record.split(";")
        if not check(len(fields) == 12, f"fleet.csv: a record of {len(fields)} fields: {record!r}"):
            continue
        match = re.search(r" \[(.*)\]$", fields[1])
        if check(match is not None, f"fleet.csv: a model field without its host: {fields[1]!r}"):
            named.append(match.group(1))
    print(f"fleet.csv names: {sorted(named)}")
    if not steady:
        print("no host ran steadily (a busy machine), so fleet.csv must hold no record")
    check(sorted(named) == sorted(steady),
          f"fleet.csv names {sorted(named)}, the steady hosts are {sorted(steady)}")
    if steady:
        check(summary.get("written") is True, f"summary.json says written={summary.get('written')!r} "
              f"with steady hosts {sorted(steady)}")
    return report(problems)


def escaped(text):
    """A text as the report writes it into its page."""
    for plain, reference in (("&", "&amp;"), ("<", "&lt;"), (">", "&gt;"), ('"', "&quot;"), ("'", "&#39;")):
        text = text.replace(plain, reference)
    return text


def report(problems):
    for problem in problems:
        print("FAIL: " + problem, file=sys.stderr)
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
