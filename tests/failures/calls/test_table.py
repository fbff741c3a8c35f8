"""The table of docs/reliability.md is of these scenarios, and of the calls that the program makes
in them. Run by pytest within a private root."""

from failures import failures
from listed import rows
from observe import run
from scenarios import SCENARIOS
from world import make_programs


def own_failures(scenario):
    make_programs(scenario)
    return sum(failure.ours for failure in failures(run(scenario).calls))


def test_the_table_has_every_failure_of_every_scenario():
    table = {row["Scenario"]: int(row["Failures"]) for row in rows("reliability.md")
             if "Failures" in row}
    own = {scenario.name: own_failures(scenario) for scenario in SCENARIOS}
    own[f"all {len(own)}"] = sum(own.values())
    table.pop("the C library's own")  # they are the machine's
    assert table == own


def test_the_table_adds_up_and_has_no_violation():
    numbers = [[int(cell) for name, cell in row.items() if name != "Scenario"]
               for row in rows("reliability.md") if "Failures" in row]
    *scenarios, every, _ = numbers
    assert [sum(column) for column in zip(*scenarios, strict=True)] == every
    for failures_of_one, *kinds, violations in numbers:
        assert (failures_of_one, violations) == (sum(kinds), 0)
