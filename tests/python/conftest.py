import pytest

pytest_plugins = ["pytester"]


@pytest.fixture
def pytester(pytester: pytest.Pytester, monkeypatch: pytest.MonkeyPatch) -> pytest.Pytester:
    # pytest would find this plugin by itself. No test here needs it, and it takes two seconds to load.
    monkeypatch.setenv("PYTEST_ADDOPTS", "-p no:labgrid")
    return pytester
