"""The scenarios of all systems with the real smart-card daemon."""
from isolation import run_isolated
from machine import MachineTest
from scenarios import Scenarios


class LinuxScenarios(Scenarios, MachineTest):
    pass


if __name__ == "__main__":
    run_isolated()
