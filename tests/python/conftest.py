import pytest

pytest_plugins = ["pytester"]


@pytest.fixture
def pytester(pytester: pytest.Pytester) -> pytest.Pytester:
    # pytest would find this plugin by itself. No test here needs it, and it takes two seconds to load.
    pytester.plugins.append("no:labgrid")
    return pytester
