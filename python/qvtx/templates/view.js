"use strict";

// The page's only state: which data are marked, which one was clicked, how the tour stands. `content` comes from
// view.py. Indices i count the data shown; content.arrays.row tells which datum of the file i is.

const NEVER = -1;
const MARK = "#d1006f", ORIGIN = "#000000", QUIET = "#aab2bd", LINK = "rgba(90, 100, 114, 0.45)";
const SCALE = [[0, "#00224e"], [0.2, "#35456c"], [0.4, "#666970"], [0.6, "#948e77"], [0.8, "#c8b866"], [1, "#fee838"]];
const MOST_PAIRS = 5000, MOST_LINES = 600, MOST_SHOWN = 100;
const TRACE = {links: 0, data: 1, prototypes: 2, spokes: 3, near: 4};
const LEG = 7000;  // milliseconds from one projection of the tour to the next

const content = JSON.parse(document.getElementById("content").textContent);
const arrays = {};
for (const [name, packed] of Object.entries(content.arrays)) arrays[name] = packed && unpack(packed);
const n = arrays.row.length, d = content.variables.length, q = content.arrays.places.columns;
const near = content.arrays.neighbours.columns;
const state = {marked: [], origin: NEVER, hovered: NEVER, axes: [0, Math.min(1, q - 1)], colour: null, frames: []};
const random = generator(1);
const byId = (id) => document.getElementById(id);

function unpack({type, data}) {
  const bytes = Uint8Array.from(atob(data), (c) => c.charCodeAt(0));
  return type === "f4" ? new Float32Array(bytes.buffer) : new Int32Array(bytes.buffer);
}

// Park and Miller's generator: the same page draws the same samples.
function generator(seed) {
  return () => (seed = (seed * 16807) % 2147483647) / 2147483647;
}

function column(table, columns, k) {
  const values = new Float32Array(table.length / columns);
  for (let i = 0; i < values.length; ++i) values[i] = table[i * columns + k];
  return values;
}

function escaped(text) {
  return String(text).replace(/[&<>"]/g, (c) => ({"&": "&amp;", "<": "&lt;", ">": "&gt;", '"': "&quot;"})[c]);
}

const short = (value) => Number.isFinite(value) ? String(+value.toPrecision(5)) : "";

// ---- Colours ----

// Every way to colour: name, values of the data, and for classes the pairs of a value and its name.
function colourings() {
  const list = [];
  const ofPrototype = (table) => Float32Array.from(arrays.codes, (code) => table[code]);
  if (arrays.label) list.push({name: content.labelName, values: arrays.label, classes: content.classes});
  list.push({name: "false neighbours", values: arrays.false, range: [0, 1]});
  list.push({name: "missing neighbours", values: arrays.missing, range: [0, 1]});
  list.push({name: content.errorName, values: arrays.error});
  list.push({name: "hits", values: ofPrototype(arrays.hits)});
  const component = ofPrototype(arrays.components);
  const numbers = [...new Set(component)].sort((a, b) => a - b);
  list.push({name: "component", values: component, classes: numbers.map((c) => [c, String(c)])});
  content.variables.forEach((name, k) => list.push({name, values: column(arrays.data, d, k), variable: true}));
  return list;
}

const choices = colourings();

// Marker properties of data that show a colouring; classes share ten colours in turn.
function paint(choice, size) {
  if (!choice.classes) {
    const [low, high] = choice.range || extent(choice.values);
    return {color: choice.values, colorscale: SCALE, cmin: low, cmax: high, size, line: {width: 0}};
  }
  const place = new Map(choice.classes.map(([value], k) => [value, k % content.palette.length]));
  const count = content.palette.length;
  const steps = content.palette.flatMap((colour, k) => [[k / count, colour], [(k + 1) / count, colour]]);
  const color = Float32Array.from(choice.values, (value) => place.get(value));
  return {color, colorscale: steps, cmin: -0.5, cmax: count - 0.5, size, showscale: false, line: {width: 0}};
}

function extent(values) {
  let low = Infinity, high = -Infinity;
  for (const value of values) {
    if (value < low) low = value;
    if (value > high) high = value;
  }
  return low <= high ? [low, high] : [0, 1];
}

const pointSize = n > 5000 ? 3.5 : n > 800 ? 5 : 7;

function showColour(choice) {
  state.colour = choice;
  const bar = {title: {text: escaped(choice.name), side: "right"}, thickness: 12, outlinewidth: 0};
  const marker = paint(choice, pointSize);
  Plotly.restyle("map", {marker: [{...marker, showscale: !choice.classes, colorbar: bar}]}, [TRACE.data]);
  tour.inks = inks(choice);
  if (tour.pixels) drawTour();
  const legend = byId("legend");
  legend.replaceChildren();
  (choice.classes || []).forEach(([value, name], k) => {
    const button = document.createElement("button"), dot = document.createElement("i");
    dot.style.background = content.palette[k % content.palette.length];
    button.append(dot, name);
    button.title = "mark " + name;
    button.onclick = () => mark(where((i) => choice.values[i] === value));
    legend.append(button);
  });
  Plotly.Plots.resize("map");
}

function where(test) {
  const found = [];
  for (let i = 0; i < n; ++i) if (test(i)) found.push(i);
  return found;
}

// ---- Map ----

const layout = (more) => ({
  margin: {l: 50, r: 12, t: 30, b: 42}, showlegend: false, hovermode: "closest", font: {size: 12},
  paper_bgcolor: "#fff", plot_bgcolor: "#fff", ...more,
});
const config = {responsive: true, displaylogo: false, scrollZoom: true,
  plotGlPixelRatio: window.devicePixelRatio || 1,  // the default of 2 is four times the work
  modeBarButtonsToRemove: ["hoverClosestGl2d", "hoverCompareCartesian", "hoverClosestCartesian", "toggleSpikelines"]};
const quiet = {...config, displayModeBar: false, scrollZoom: false};
const plain = {showgrid: false, zeroline: false, showline: true, linecolor: "#c3c8cf", ticks: "outside"};

// Coordinates of segments between rows of a table, parted by gaps.
function segments(ends, xs, ys) {
  const x = new Float32Array(ends.length / 2 * 3), y = new Float32Array(x.length);
  for (let link = 0; link < ends.length / 2; ++link) {
    for (const end of [0, 1]) {
      x[3 * link + end] = xs[ends[2 * link + end]];
      y[3 * link + end] = ys[ends[2 * link + end]];
    }
    x[3 * link + 2] = y[3 * link + 2] = NaN;
  }
  return {x, y};
}

function place(axis) { return q > 1 || axis === 0 ? column(arrays.places, q, axis) : new Float32Array(n); }

function image(axis) {
  return q > 1 || axis === 0 ? column(arrays.images, q, axis) : new Float32Array(arrays.hits.length);
}

function mapTraces() {
  const [a, b] = q > 1 ? state.axes : [0, 1];
  const images = [image(a), image(b)];
  state.places = [place(a), place(b)];
  const most = extent(arrays.hits)[1] || 1;
  const sizes = Array.from(arrays.hits, (hits) => 5 + 12 * Math.sqrt(hits / most));
  const told = Array.from(arrays.hits, (hits, p) => `prototype ${p}<br>${hits} data, component ${arrays.components[p]}`);
  const gl = {type: "scattergl", hoverinfo: "skip"};
  return [
    {...gl, ...segments(arrays.links, ...images), mode: "lines", line: {color: LINK, width: 1},
     visible: byId("links").checked},
    {...gl, x: state.places[0], y: state.places[1], mode: "markers", hoverinfo: "text", text: names(),
     marker: {size: pointSize}, unselected: {marker: {opacity: 0.25}}},
    {...gl, x: images[0], y: images[1], mode: "markers", hoverinfo: "text", text: told,
     marker: {size: sizes, color: "rgba(255,255,255,0.6)", line: {width: 1.3, color: "#333"}},
     visible: byId("prototypes").checked},
    {...gl, x: [], y: [], mode: "lines", line: {color: ORIGIN, width: 1.2}},
    {...gl, x: [], y: [], mode: "markers", marker: {size: pointSize + 4, color: "#fff", line: {width: 2, color: ORIGIN}}},
  ];
}

function names() {
  const named = content.classes && new Map(content.classes);
  const label = (i) => named ? named.get(arrays.label[i]) : short(arrays.label[i]);
  return Array.from(arrays.row, (row, i) =>
    `datum ${row}` + (arrays.label ? `<br>${escaped(content.labelName)} ${escaped(label(i))}` : ""));
}

function drawMap() {
  const how = content.interpolated ? "" : " (not interpolated: data are spread round their prototypes)";
  const axis = (k) => ({...plain, title: {text: q > 1 || k === 0 ? `map, axis ${state.axes[k]}` : "", standoff: 4}});
  const shape = layout({dragmode: "lasso", title: {text: "Map" + how, font: {size: 14}, x: 0.02},
    xaxis: axis(0), yaxis: {...axis(1), scaleanchor: "x"}});
  Plotly.newPlot("map", mapTraces(), shape, config);
  const map = byId("map");
  map.on("plotly_hover", ({points}) => points[0].curveNumber === TRACE.data && hover(points[0].pointNumber));
  map.on("plotly_click", ({points}) => points[0].curveNumber === TRACE.data && join(points[0].pointNumber));
  map.on("plotly_selected", (event) => event && event.points && mark(
    event.points.filter((point) => point.curveNumber === TRACE.data).map((point) => point.pointNumber), true));
  map.on("plotly_deselect", () => mark([], true));
}

// ---- One datum ----

function hover(i) {
  if (state.hovered === i) return;
  state.hovered = i;
  showPoint(i);
}

function showPoint(i) {
  const own = choices.filter((choice) => !choice.variable).map((choice) => {
    const value = choice.values[i];
    const known = choice.classes && choice.classes.find((pair) => pair[0] === value);
    return [choice.name, known ? known[1] : short(value)];
  });
  const values = content.variables.map((name, k) => [name, short(arrays.data[i * d + k])]);
  const rows = [...own, ["prototype", arrays.codes[i]], ...values];
  byId("point").innerHTML = `<b>datum ${arrays.row[i]}</b><table>` +
    rows.map(([name, value]) => `<tr><th>${escaped(name)}</th><td>${escaped(value)}</td></tr>`).join("") + "</table>";
}

function neighboursOf(i) { return Array.from(arrays.neighbours.subarray(i * near, (i + 1) * near)); }

// Joins a datum with its nearest ones in the data.
function join(i) {
  state.origin = i;
  const [xs, ys] = state.places;
  const others = i === NEVER ? [] : neighboursOf(i);
  const {x, y} = segments(others.flatMap((j) => [i, j]), xs, ys);
  Plotly.restyle("map", {x: [x, others.map((j) => xs[j])], y: [y, others.map((j) => ys[j])]},
    [TRACE.spokes, TRACE.near]);
  drawPairs();
  drawLines();
  if (tour.pixels) drawTour();
  if (i !== NEVER) showPoint(i);
}

// ---- Marked data ----

function mark(rows, drawn = false) {
  state.marked = rows;
  if (!drawn) {
    Plotly.restyle("map", {selectedpoints: [rows.length ? rows : null]}, [TRACE.data]);
    document.querySelectorAll("#map .select-outline").forEach((outline) => outline.remove());
  }
  drawPairs();
  drawLines();
  drawTable();
  if (!tour.playing) drawTour();
}

function dataDistance(i, j) {
  let sum = 0;
  for (let k = 0; k < d; ++k) {
    const step = (arrays.data[i * d + k] - arrays.data[j * d + k]) / content.unit[k];
    if (step === step) sum += step * step;
  }
  return Math.sqrt(sum);
}

function mapDistance(i, j) {
  let sum = 0;
  for (let k = 0; k < q; ++k) sum += (arrays.places[i * q + k] - arrays.places[j * q + k]) ** 2;
  return Math.sqrt(sum);
}

// At most MOST_PAIRS pairs of the given data: all, or drawn at random.
function pairsOf(rows) {
  const pairs = [], m = rows.length;
  if (m * (m - 1) / 2 <= MOST_PAIRS) {
    for (let a = 1; a < m; ++a) for (let b = 0; b < a; ++b) pairs.push([rows[a], rows[b]]);
    return pairs;
  }
  while (pairs.length < MOST_PAIRS) {
    const a = Math.floor(random() * m), b = Math.floor(random() * m);
    if (a !== b) pairs.push([rows[a], rows[b]]);
  }
  return pairs;
}

function both(pairs) {
  return {x: pairs.map(([i, j]) => mapDistance(i, j)), y: pairs.map(([i, j]) => dataDistance(i, j))};
}

function drawDistances() {
  const all = both(pairsOf(Array.from(arrays.row.keys())));
  const end = Math.max(extent(all.x)[1], extent(all.y)[1]);
  const gl = {type: "scattergl", mode: "markers", hoverinfo: "skip"};
  const axis = (text) => ({...plain, title: {text, standoff: 4}});
  Plotly.newPlot("distances", [
    {...gl, ...all, marker: {size: 3, color: QUIET, opacity: 0.5}},
    {...gl, x: [0, end], y: [0, end], mode: "lines", line: {color: "#555", width: 1}},
    {...gl, x: [], y: [], marker: {size: 3.5, color: MARK, opacity: 0.6}},
    {...gl, x: [], y: [], marker: {size: 7, color: ORIGIN}},
  ], layout({title: {text: "Pairs: all, <b style='color:#d1006f'>marked</b>, clicked", font: {size: 14}},
    xaxis: {...axis("distance in the map"), range: [0, 1.03 * extent(all.x)[1]]},
    yaxis: {...axis("distance in the data"), range: [0, 1.05 * extent(all.y)[1]]}}), quiet);
}

function drawPairs() {
  const marked = both(pairsOf(state.marked));
  const own = both(state.origin === NEVER ? [] : neighboursOf(state.origin).map((j) => [state.origin, j]));
  Plotly.restyle("distances", {x: [marked.x, own.x], y: [marked.y, own.y]}, [2, 3]);
}

// ---- Parallel coordinates ----

const ranges = content.variables.map((_, k) => extent(column(arrays.data, d, k)));

function lines(rows) {
  const x = new Float32Array(rows.length * (d + 1)), y = new Float32Array(x.length);
  rows.forEach((i, place) => {
    for (let k = 0; k <= d; ++k) {
      const at = place * (d + 1) + k, [low, high] = ranges[Math.min(k, d - 1)];
      x[at] = k === d ? NaN : k;
      y[at] = k === d ? NaN : high > low ? (arrays.data[i * d + k] - low) / (high - low) : 0.5;
    }
  });
  return {x, y};
}

function some(rows, most) {
  if (rows.length <= most) return rows;
  return Array.from({length: most}, (_, k) => rows[Math.floor(k * rows.length / most)]);
}

function drawParallel() {
  const gl = {type: "scattergl", mode: "lines", hoverinfo: "skip"};
  const ends = d > 24 ? [] : ranges.flatMap((range, k) => range.map((value, end) => (
    {x: k, y: end ? 1.07 : -0.07, text: short(value), showarrow: false, font: {size: 11, color: "#5a6472"}})));
  Plotly.newPlot("parallel", [
    {...gl, ...lines(some(Array.from(arrays.row.keys()), MOST_LINES)), line: {color: "rgba(150,158,170,0.25)", width: 1}},
    {...gl, x: [], y: [], line: {color: "rgba(209,0,111,0.35)", width: 1}},
    {...gl, x: [], y: [], line: {color: ORIGIN, width: 2}},
  ], layout({title: {text: "Variables, each from its least to its greatest value", font: {size: 14}},
    margin: {l: 30, r: 30, t: 30, b: 60}, annotations: ends,
    xaxis: {tickvals: [...content.variables.keys()], ticktext: content.variables.map(escaped), zeroline: false,
            range: [-0.5, d - 0.5], gridcolor: "#d5d9de"},
    yaxis: {visible: false, range: [-0.13, 1.13]}}), quiet);
}

function drawLines() {
  const marked = lines(some(state.marked, MOST_LINES));
  const own = lines(state.origin === NEVER ? [] : [state.origin]);
  Plotly.restyle("parallel", {x: [marked.x, own.x], y: [marked.y, own.y]}, [1, 2]);
}

// ---- Table ----

function columns() {
  const named = choices.filter((choice) => !choice.variable);
  const text = (choice, i) => {
    const known = choice.classes && choice.classes.find((pair) => pair[0] === choice.values[i]);
    return known ? known[1] : short(choice.values[i]);
  };
  return [["datum", (i) => arrays.row[i]], ["prototype", (i) => arrays.codes[i]],
    ...named.map((choice) => [choice.name, (i) => text(choice, i)]),
    ...content.variables.map((name, k) => [name, (i) => short(arrays.data[i * d + k])])];
}

function csv(rows) {
  const quoted = (value) => /[",\n\r]/.test(value) ? `"${String(value).replace(/"/g, '""')}"` : String(value);
  const head = columns();
  const body = rows.map((i) => head.map(([, value]) => quoted(value(i))).join(","));
  return [head.map(([name]) => quoted(name)).join(","), ...body].join("\n") + "\n";
}

function drawTable() {
  const rows = state.marked, shown = rows.slice(0, MOST_SHOWN);
  byId("count").textContent = rows.length
    ? `${rows.length} marked` + (rows.length > MOST_SHOWN ? `, the first ${MOST_SHOWN} here` : "") : "nothing marked";
  byId("copy").hidden = byId("save").hidden = !rows.length;
  const head = columns();
  const cells = (kind, texts) => texts.map((text) => `<${kind}>${escaped(text)}</${kind}>`).join("");
  byId("table").innerHTML = rows.length ? `<table><tr>${cells("th", head.map(([name]) => name))}</tr>` +
    shown.map((i) => `<tr>${cells("td", head.map(([, value]) => value(i)))}</tr>`).join("") + "</table>" : "";
}

async function copyTable() {
  const text = csv(state.marked);
  try {
    await navigator.clipboard.writeText(text);
  } catch {  // a page from a file may not be allowed to: the old way
    const box = document.createElement("textarea");
    box.value = text;
    document.body.append(box);
    box.select();
    document.execCommand("copy");
    box.remove();
  }
  byId("copy").textContent = "copied";
  setTimeout(() => byId("copy").textContent = "copy as CSV", 1500);
}

function saveTable() {
  const link = document.createElement("a");
  link.href = URL.createObjectURL(new Blob([csv(state.marked)], {type: "text/csv"}));
  link.download = content.name + "-marked.csv";
  link.click();
  URL.revokeObjectURL(link.href);
}

// ---- Tour ----

// A grand tour (Asimov 1985) of the first principal components: from one random plane to the next.
const dims = content.arrays.turned.columns;
const tour = {from: start(), shown: start(), to: start(), since: 0, playing: dims > 2};

function start() {
  return [0, 1].map((column) => Float64Array.from({length: dims}, (_, k) => k === column ? 1 : 0));
}

function orthonormal([a, b]) {
  const dot = (u, v) => u.reduce((sum, value, k) => sum + value * v[k], 0);
  const unit = (v) => { const size = Math.sqrt(dot(v, v)) || 1; return v.map((value) => value / size); };
  const first = unit(a), share = dot(first, b);
  return [first, unit(b.map((value, k) => value - share * first[k]))];
}

function nextPlane(from) {
  const plane = orthonormal([0, 1].map(() => Float64Array.from({length: dims}, () => {
    return Math.sqrt(-2 * Math.log(random())) * Math.cos(2 * Math.PI * random());
  })));
  return plane.map((axis, c) => axis.reduce((sum, v, k) => sum + v * from[c][k], 0) < 0 ? axis.map((v) => -v) : axis);
}

function plane(now) {
  if (now - tour.since > LEG) {
    tour.from = tour.to;
    tour.to = nextPlane(tour.from);
    tour.since = now;
  }
  const t = (now - tour.since) / LEG, share = t * t * (3 - 2 * t);
  return orthonormal(tour.from.map((axis, c) => axis.map((v, k) => (1 - share) * v + share * tour.to[c][k])));
}

function project(table, axis) {
  const values = new Float32Array(table.length / dims);
  for (let i = 0; i < values.length; ++i) {
    let sum = 0;
    for (let k = 0; k < dims; ++k) sum += table[i * dims + k] * axis[k];
    values[i] = sum;
  }
  return values;
}

// Plotly takes 0.4 to 0.7 s a frame for new coordinates of 20,000 points where WebGL is emulated, so the tour draws on
// a canvas of its own: points as squares of pixels in memory, links as one path over them.
const canvas = byId("tour").querySelector("canvas"), pen = canvas.getContext("2d");
const INK = new Map();  // colour text to a pixel

function ink(colour) {
  if (!INK.has(colour)) {
    const [r, g, b] = [1, 3, 5].map((at) => parseInt(colour.slice(at, at + 2), 16));
    INK.set(colour, (255 << 24 | b << 16 | g << 8 | r) >>> 0);
  }
  return INK.get(colour);
}

// One pixel value for every datum that shows a colouring.
function inks(choice) {
  if (choice.classes) {
    const pixels = new Map(choice.classes.map(([v], k) => [v, ink(content.palette[k % content.palette.length])]));
    return Uint32Array.from(choice.values, (value) => pixels.get(value));
  }
  const [low, high] = choice.range || extent(choice.values);
  return Uint32Array.from(choice.values, (value) => {
    const t = high > low && Number.isFinite(value) ? (value - low) / (high - low) : 0;
    const step = Math.min(SCALE.length - 2, Math.floor(t * (SCALE.length - 1)));
    const share = t * (SCALE.length - 1) - step;
    const part = (at) => [step, step + 1].map((k) => parseInt(SCALE[k][1].slice(at, at + 2), 16));
    const [r, g, b] = [1, 3, 5].map((at) => { const [u, v] = part(at); return Math.round(u + share * (v - u)); });
    return (255 << 24 | b << 16 | g << 8 | r) >>> 0;
  });
}

function fitCanvas() {
  const box = canvas.getBoundingClientRect(), ratio = window.devicePixelRatio || 1;
  canvas.width = Math.max(1, Math.round(box.width * ratio));
  canvas.height = Math.max(1, Math.round(box.height * ratio));
  tour.image = pen.createImageData(canvas.width, canvas.height);
  tour.pixels = new Uint32Array(tour.image.data.buffer);
  tour.dot = Math.round(ratio * (n > 5000 ? 2 : 3));
  drawTour();
}

function dot(x, y, size, pixel) {
  const {width, height} = canvas;
  const left = Math.round(x - size / 2), top = Math.round(y - size / 2);
  for (let row = Math.max(0, top); row < Math.min(height, top + size); ++row) {
    for (let column = Math.max(0, left); column < Math.min(width, left + size); ++column) {
      tour.pixels[row * width + column] = pixel;
    }
  }
}

// The data and the linked prototypes, projected onto the tour's plane.
function drawTour() {
  const [x, y] = tour.shown.map((axis) => project(arrays.turned, axis));
  const [px, py] = tour.shown.map((axis) => project(arrays.turnedPrototypes, axis));
  const scale = zoom(x, y), middle = [canvas.width / 2, canvas.height / 2];
  for (const values of [x, px]) for (let i = 0; i < values.length; ++i) values[i] = middle[0] + scale * values[i];
  for (const values of [y, py]) for (let i = 0; i < values.length; ++i) values[i] = middle[1] - scale * values[i];
  tour.pixels.fill(0xffffffff);
  for (let i = 0; i < n; ++i) dot(x[i], y[i], tour.dot, tour.inks[i]);
  for (const i of state.marked) dot(x[i], y[i], tour.dot + 2, ink(MARK));
  if (state.origin !== NEVER) dot(x[state.origin], y[state.origin], tour.dot + 6, ink(ORIGIN));
  pen.putImageData(tour.image, 0, 0);
  drawSheet(px, py);
}

// Pixels a unit. The view follows slowly how wide the projection is: most planes show long clouds from their ends.
function zoom(x, y) {
  let fits = Infinity;
  for (let i = 0; i < n; ++i) {
    fits = Math.min(fits, canvas.width / Math.abs(x[i]), canvas.height / Math.abs(y[i]));
  }
  fits *= 0.46;
  const old = tour.scale || fits;
  tour.scale = Math.min(fits, old + 0.02 * (fits - old));
  return Number.isFinite(tour.scale) ? tour.scale : 1;
}

function drawSheet(x, y) {
  pen.strokeStyle = "rgba(30, 35, 45, 0.6)";
  pen.beginPath();
  for (let link = 0; link < arrays.links.length; link += 2) {
    const from = arrays.links[link], to = arrays.links[link + 1];
    pen.moveTo(x[from], y[from]);
    pen.lineTo(x[to], y[to]);
  }
  pen.stroke();
}

function reach() {
  let most = 0;
  for (let i = 0; i < n; ++i) {
    let sum = 0;
    for (let k = 0; k < dims; ++k) sum += arrays.turned[i * dims + k] ** 2;
    most = Math.max(most, sum);
  }
  return Math.sqrt(most) || 1;
}

function frame(now) {
  if (tour.playing && !document.hidden) {
    tour.shown = plane(now);
    drawTour();
    state.frames.push(now);
    if (state.frames.length > 200) state.frames.shift();
  }
  requestAnimationFrame(frame);
}

function play() {
  tour.playing = !tour.playing;
  if (tour.playing) tour.since = performance.now() - (tour.stopped || 0);
  else tour.stopped = performance.now() - tour.since;
  byId("play").textContent = tour.playing ? "pause" : "play";
}

// ---- Controls ----

function find(text) {
  const wanted = text.trim().toLowerCase();
  if (!wanted) return mark([]);
  const classes = new Map((content.classes || []).map(([value, name]) => [value, name.toLowerCase()]));
  const exact = [...classes.values()].includes(wanted);
  const fits = (name) => exact ? name === wanted : name !== undefined && name.includes(wanted);
  const labelled = classes.size ? where((i) => fits(classes.get(arrays.label[i]))) : [];
  const numbered = labelled.length ? [] : where((i) => String(arrays.row[i]) === wanted.replace(/^#/, ""));
  mark(labelled.length ? labelled : numbered);
  if (numbered.length) join(numbered[0]);
  byId("count").textContent += labelled.length || numbered.length ? "" : `: no label or datum ${text}`;
}

function begin() {
  const share = (table) => (100 * table.reduce((sum, value) => sum + value, 0) / n).toFixed(1);
  byId("facts").textContent = `${n < content.total ? `${n} of ${content.total}` : n} data, ${d} variable${d > 1 ? "s" : ""}, ` +
    `${arrays.hits.length} prototypes; false neighbours ${share(arrays.false)} %, missing ${share(arrays.missing)} %`;
  choices.forEach((choice, k) => byId("colour").add(new Option(choice.name, k)));
  drawMap();
  drawDistances();
  drawParallel();
  drawTable();
  showColour(choices[0]);
  new ResizeObserver(fitCanvas).observe(canvas);
  fitCanvas();
  byId("seen").textContent = dims < d ? `through ${dims} principal components, ` +
    `${(100 * content.seen).toFixed(1)} % of the variance` : `through ${d > 1 ? `all ${d} dimensions` : "one dimension"}`;
  byId("colour").onchange = (event) => showColour(choices[event.target.value]);
  byId("links").onchange = (event) => Plotly.restyle("map", {visible: event.target.checked}, [TRACE.links]);
  byId("prototypes").onchange = (event) => Plotly.restyle("map", {visible: event.target.checked}, [TRACE.prototypes]);
  byId("find").onchange = (event) => find(event.target.value);
  byId("clear").onclick = () => { byId("find").value = ""; mark([]); join(NEVER); };
  byId("copy").onclick = copyTable;
  byId("save").onclick = saveTable;
  byId("play").onclick = play;
  byId("play").hidden = dims < 3;
  if (q > 2) chooseAxes();
  requestAnimationFrame((now) => { tour.since = now; tour.to = nextPlane(tour.from); frame(now); });
}

function chooseAxes() {
  document.querySelector(".axes").style.display = "inline";
  [0, 1].forEach((side) => {
    const select = byId("axis" + side);
    for (let k = 0; k < q; ++k) select.add(new Option(k, k, false, k === state.axes[side]));
    select.onchange = () => {
      state.axes[side] = Number(select.value);
      drawMap();
      showColour(state.colour);
      mark(state.marked);
      join(state.origin);
    };
  });
}

begin();
