"""The explorer: the numbers in it, and the page in a headless Chromium."""

import re
import shutil
import subprocess

import numpy as np
import pandas as pd
import pytest
from scipy.spatial.distance import cdist

from qvtx import Session, view, write
from qvtx.saved import Saved

SCRIPT = "ld t ng 40 cc mp m 2 cc il cc rd sp run sm run xt y".replace(" ", "\n") + "\n"
SLACK = 3  # pixels by which a lasso may miss what the mouse drew
FLAGS = """--headless --no-sandbox --disable-gpu --disable-background-networking --disable-component-update
--disable-sync --no-first-run --window-size=1500,1100""".split()


@pytest.fixture(scope="module")
def saved(tmp_path_factory, program):
    """300 data on a roll, mapped and interpolated; the labels have names that need quoting."""
    folder = tmp_path_factory.mktemp("view")
    random = np.random.default_rng(3)
    t, height = 5 + 6 * random.random(300), 10 * random.random(300)
    write(folder / "t.dat", np.column_stack([t * np.cos(t), height, t * np.sin(t)]), binary=True)
    write(folder / "t.lab", t > 8)
    (folder / "t.names").write_text(
        '{"variables": ["x", "y</script>", "z"], "mean": [0, 0, 0], "scale": [1, 1, 1], "label": "part",'
        '"classes": {"0": "inner <b>, \\"in\\"", "1": "outer"}}'
    )
    subprocess.run([program, "--init"], cwd=folder, check=True, capture_output=True)
    subprocess.run([program], cwd=folder, input=SCRIPT, check=True, capture_output=True, text=True)
    return Saved.load(folder / "run", folder / "t")


@pytest.fixture(scope="module")
def browser(saved, tmp_path_factory):
    """A headless Chromium that shows the page about `saved`."""
    webdriver = pytest.importorskip("selenium.webdriver")
    if not (shutil.which("chromium") and shutil.which("chromedriver")):
        pytest.skip("no chromium")
    page = view.view(saved, tmp_path_factory.mktemp("page") / "run.html", show=False)
    options = webdriver.ChromeOptions()
    for flag in [*FLAGS, f"--user-data-dir={tmp_path_factory.mktemp('profile')}"]:
        options.add_argument(flag)
    options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
    driver = webdriver.Chrome(options=options)
    driver.get(page.as_uri())
    driver.execute_script("play(); byId('clear').click()")
    yield driver
    driver.quit()


def pixels(browser):
    """(n, 2): where the data are on the map's picture, from the middle of its element, as the mouse counts."""
    return np.array(browser.execute_script("""
        const {xaxis, yaxis} = byId("map")._fullLayout, box = byId("map").getBoundingClientRect();
        return Array.from(arrays.row, (_, i) => [
          xaxis._offset + xaxis.d2p(state.places[0][i]) - box.width / 2,
          yaxis._offset + yaxis.d2p(state.places[1][i]) - box.height / 2]);"""))  # fmt: skip


def mouse(browser):
    """Mouse actions and the map."""
    from selenium.webdriver import ActionChains

    return ActionChains(browser), browser.find_element("id", "map")


def alone(places):
    """The datum farthest from its nearest other one, so that the mouse cannot mean another."""
    apart = cdist(places, places)
    np.fill_diagonal(apart, np.inf)
    return int(apart.min(axis=1).argmax())


def test_shares_of_false_and_missing_neighbours():
    line = np.arange(200.0)[:, None]
    assert not any(share.any() for share in view.lies(line, 3 * line))
    folded = np.minimum(
        line, 199 - line
    )  # every other end of the line lies on this one: half of the near are false
    false, missing = view.lies(line, folded)
    assert false[:30].mean() == pytest.approx(0.5, abs=0.05)
    assert not missing.any()


def test_without_interpolation_data_stay_nearest_to_their_image(saved):
    import dataclasses

    places, interpolated = view.places(dataclasses.replace(saved, positions=None))
    assert not interpolated
    np.testing.assert_array_equal(cdist(places, saved.images).argmin(axis=1), saved.codes)


def test_a_session_writes_its_page(tmp_path, monkeypatch):
    shown = []
    monkeypatch.setattr("webbrowser.open", shown.append)
    random = np.random.default_rng(4)
    with Session(random.normal(size=(60, 3))).quantize("km", 9) as session:
        with pytest.raises(ValueError, match="no mapping"):
            session.view(tmp_path / "page.html")
        page = session.map("md").view(tmp_path / "page.html", labels=["a", None, "b"] * 20)
        assert shown == [page.as_uri()]
        assert '"classes": [[0, "a"], [1, "b"], [-1, "none"]]' in page.read_text(encoding="utf-8")
        session.view(page, show=False)
        with pytest.raises(ValueError, match="59"):
            session.view(page, labels=range(59))
    assert len(shown) == 1


def test_data_without_variance_have_a_page(tmp_path):
    data = pd.DataFrame({"ones": np.ones(9)})
    page = Session(data).quantize("nq").map("md", 1).view(tmp_path / "flat.html", show=False)
    assert '"name": "flat"' in (text := page.read_text(encoding="utf-8"))
    assert '"variables": ["ones"]' in text


def test_a_sample_stands_for_too_many_data(saved):
    told = view.content(saved, rows=50)
    assert told["total"] == 300
    assert len(told["arrays"]["row"]["data"]) == len(view._packed(np.zeros(50))["data"])


def test_the_page_loads_offline_without_an_error(browser):
    assert browser.title == "run"
    assert [entry for entry in browser.get_log("browser") if entry["level"] == "SEVERE"] == []
    assert browser.execute_script("return performance.getEntriesByType('resource').length") == 0
    assert "300 data, 3 variables, 40 prototypes" in browser.find_element("id", "facts").text


def test_hover_shows_label_and_values(browser, saved):
    places = pixels(browser)
    i = alone(places)
    actions, element = mouse(browser)
    actions.move_to_element_with_offset(element, *map(round, places[i])).pause(0.5).perform()
    label = saved.class_name(saved.labels[i])
    assert label in browser.find_element("css selector", "#map .hoverlayer").text.replace("\n", " ")
    told = browser.find_element("id", "point").text
    assert f"datum {i}\npart {label}\n" in told
    assert float(re.search(r"^z (.*)", told, re.M)[1]) == pytest.approx(saved.data[i, 2], rel=1e-4)


def test_a_click_joins_the_nearest_in_the_data(browser, saved):
    places = pixels(browser)
    i = alone(places)
    actions, element = mouse(browser)
    actions.move_to_element_with_offset(element, *map(round, places[i])).pause(0.3).click().pause(
        0.5
    ).perform()
    drawn = np.array(
        browser.execute_script("const t = byId('map').data[TRACE.near]; return [[...t.x], [...t.y]]")
    ).T
    nearest = np.argsort(cdist(saved.data[[i]], saved.data)[0], kind="stable")[1:13]
    np.testing.assert_allclose(drawn, saved.positions[nearest], rtol=1e-6)


def test_a_lasso_marks_the_same_data_everywhere(browser, saved):
    places = pixels(browser)
    low, high = np.quantile(places, [0.3, 0.7], axis=0).round()
    corners = [(low[0], low[1]), (high[0], low[1]), (high[0], high[1]), (low[0], high[1]), (low[0], low[1])]
    actions, element = mouse(browser)
    actions.move_to_element_with_offset(element, *map(int, corners[0])).click_and_hold()
    for x, y in corners[1:]:
        actions.move_to_element_with_offset(element, int(x), int(y)).pause(0.2)
    actions.release().pause(0.7).perform()
    inside = np.flatnonzero(((places > low + SLACK) & (places < high - SLACK)).all(axis=1))
    around = np.flatnonzero(((places > low - SLACK) & (places < high + SLACK)).all(axis=1))
    marked = browser.execute_script("return state.marked")
    assert len(inside) > 10
    assert set(inside) <= set(marked) <= set(around)
    rows = [
        line.split(",")[0] for line in browser.execute_script("return csv(state.marked)").splitlines()[1:]
    ]
    assert rows == [str(i) for i in marked]
    heights = np.array(browser.execute_script("return [...byId('parallel').data[1].y]"), float)[1::4]
    spread = saved.data[:, 1]
    np.testing.assert_allclose(heights, (spread[marked] - spread.min()) / np.ptp(spread), atol=1e-5)
    distances = browser.execute_script(
        "const t = byId('distances').data[2]; return [...t.y].sort((a, b) => a - b)"
    )
    shown = saved.data[marked]
    pairs = cdist(shown, shown)[np.triu_indices(len(marked), 1)]  # few enough to be drawn all
    np.testing.assert_allclose(distances, np.sort(pairs), rtol=1e-4)


def test_search_marks_a_class_and_the_table_quotes_its_name(browser, saved):
    browser.execute_script("find('INNER')")
    np.testing.assert_array_equal(
        browser.execute_script("return state.marked"), np.flatnonzero(saved.labels == 0)
    )
    assert '"inner <b>, ""in"""' in browser.execute_script("return csv(state.marked)")
    browser.execute_script("find('17')")
    assert browser.execute_script("return [state.marked, state.origin]") == [[17], 17]
