import os

import numpy as np
import pytest

SOURCE_TREE = os.path.normpath(os.path.join(os.path.dirname(__file__), "..", ".."))


@pytest.fixture
def rgb():
    return np.random.default_rng(7).integers(0, 256, (9, 13, 3), dtype=np.uint8)


@pytest.fixture
def ramp():
    """A grey ramp, black at the left edge and near white at the right."""
    return np.tile(np.arange(0, 256, 4, dtype=np.uint8), (16, 1))
