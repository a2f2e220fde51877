"""The scenarios of all systems with the simulator."""
import unittest

from simulator import SimulatorTest
from scenarios import Scenarios


class SimulatorScenarios(Scenarios, SimulatorTest):
    pass


if __name__ == "__main__":
    unittest.main()
