import os
import pathlib

import pytest


@pytest.fixture(autouse=True)
def no_received_files_are_left():
    """A received file is removed with the message that it belongs to."""
    yield
    left = list(pathlib.Path("/tmp").glob(f"zab_tmp_{os.getpid()}_*"))
    assert left == []


@pytest.fixture(scope="session")
def sources():
    """The folder of the project's sources."""
    return pathlib.Path(__file__).resolve().parents[2]
