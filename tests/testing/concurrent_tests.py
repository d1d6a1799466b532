"""Runs the tests of a class at the same time, where they spend most of it waiting."""

import unittest
from concurrent.futures import ThreadPoolExecutor

AT_ONCE = 4


def run_concurrently(case, names=()):
    """Runs these tests of the class, or all of them in their order; returns an exit status."""
    names = names or [name for name in vars(case) if name.startswith("test_")]

    def run(name):
        result = unittest.TestResult()
        case(name).run(result)
        return name, result.errors + result.failures

    case.setUpClass()
    try:
        with ThreadPoolExecutor(AT_ONCE) as pool:
            results = list(pool.map(run, names))
    finally:
        case.tearDownClass()
    for name, faults in results:
        print(f"{name}: {'failed' if faults else 'passed'}")
        for _, text in faults:
            print(text)
    return 1 if any(faults for _, faults in results) else 0
