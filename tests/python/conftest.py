import pytest

import melnar


@pytest.fixture
def d():
    return melnar.Dictionary(memory_limit="256M", maximum_size=1_000_000)
