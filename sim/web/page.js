'use strict';
// The page of the virtual switch. The same file is its worker: one stream of events serves all pages of a browser, which
// opens few connections to a server at a time.

function eventFeed() {
  const pages = new Map(), known = {};
  let source, wanted, retry;

  const tell = (news, page) => page ? page.postMessage(news) : pages.forEach((_, each) => each.postMessage(news));
  function connect() {
    clearTimeout(retry);
    source?.close();
    wanted = [...pages.values()].includes(true);
    source = new EventSource('/api/events' + (wanted ? '?requests' : ''));
    source.onopen = () => tell({live: true});
    source.onmessage = (event) => {
      const news = JSON.parse(event.data);
      for (const part in news) if (part !== 'requests') known[part] = news[part];
      tell(news);
    };
    source.onerror = () => {
      tell({live: false});
      if (source.readyState === EventSource.CLOSED) retry = setTimeout(connect, 2000);
    };
  }
  return (page) => {
    page.onmessage = ({data}) => {
      if (!pages.has(page)) tell({...known, live: source?.readyState === EventSource.OPEN}, page);
      if (data === 'ends') pages.delete(page);
      else pages.set(page, data.requests);
      if (!source || [...pages.values()].includes(true) !== wanted) connect();
    };
  };
}

function page() {
  const $ = (selector) => document.querySelector(selector);
  const state = {};        // the parts as the server tells them
  let selected = null, modules = [], decoded = null, lines = [], paused = false;

  function element(tag, properties = {}, ...children) {
    const made = document.createElement(tag);
    for (const [name, value] of Object.entries(properties))
      if (name in made && !name.includes('-')) made[name] = value;
      else made.setAttribute(name, value);
    made.append(...children);
    return made;
  }
  const put = (selector, ...children) => $(selector).replaceChildren(...children);
  const button = (text, onclick, properties = {}) => element('button', {type: 'button', onclick, ...properties}, text);
  const words = (text) => text.replaceAll('_', ' ');

  function say(text, bad) {
    $('#said').textContent = text;
    $('#said').className = bad ? 'bad' : '';
  }

  async function ask(path, body) {
    const answer = await fetch('/api/' + path, body && {method: 'POST', body: JSON.stringify(body)});
    const document = await answer.json();
    if (!answer.ok) throw new Error(document.error);
    return document;
  }
  async function act(action, fields = {}) {
    try {
      say((await ask(action.replace(' ', '/'), fields)).done);
      return true;
    } catch (error) {
      say(error.message, true);
      return false;
    }
  }

  // A few values to choose from. It is updated in place, so that it keeps the focus.
  function choice(legend, values, chosen) {
    const inputs = values.map(([value, text]) => {
      const input = element('input', {type: 'radio', name: legend, value, onchange: () => chosen(value)});
      return [input, element('label', {}, input, element('span', {}, text ?? value))];
    });
    const made = element('fieldset', {className: 'choice'}, element('legend', {}, legend), ...inputs.map((one) => one[1]));
    made.show = (value) => inputs.forEach(([input]) => { input.checked = input.value === String(value); });
    return made;
  }

  // ---- front panel

  function showPicture(text) {
    const fresh = new DOMParser().parseFromString(text, 'image/svg+xml').documentElement;
    const old = $('#picture svg');
    if (!old) return $('#picture').append(document.importNode(fresh, true));
    const shapes = [...fresh.children];
    while (old.children.length > shapes.length) old.lastElementChild.remove();
    shapes.forEach((shape, i) => {
      if (!old.children[i]) old.append(shape);
      else if (!old.children[i].isEqualNode(shape)) old.children[i].replaceWith(shape);
    });
  }

  const kSelectable = [...Array(3)].map((_, i) => ({kind: 'slot', number: i + 1, id: `slot${i + 1}`, width: 180, height: 100}))
    .concat([...Array(28)].map((_, i) => ({kind: 'port', number: i, id: `port${i}`, width: 30, height: 20})));

  function placeButtons() {
    if (!state.board || !state.picture) return;
    for (const one of kSelectable) {
      const shape = document.getElementById(one.id);
      one.button ??= $('#front').appendChild(button('', () => select(one), {className: 'place ' + one.kind}));
      one.button.hidden = !shape;
      if (!shape) continue;
      const {x, y, width, height} = $('#picture svg').viewBox.baseVal;
      one.button.style.left = (shape.x.baseVal.value - x) / width * 100 + '%';
      one.button.style.top = (shape.y.baseVal.value - y) / height * 100 + '%';
      one.button.style.width = one.width / width * 100 + '%';
      one.button.style.height = one.height / height * 100 + '%';
      one.button.ariaLabel = one.button.title = labelOf(one);
      one.button.ariaPressed = String(one === selected);
    }
  }

  const cageOf = (port) => state.board.cages.find((cage) => cage.port === port);
  function labelOf({kind, number}) {
    if (kind === 'slot') return `Slot ${number}: ${state.board.slots[number - 1].board}`;
    const cage = cageOf(number);
    if (!cage) return `Port ${number}: copper`;
    const signs = [cage.module === '-' ? 'empty' : cage.module, cage.tx_fault && cage.module !== '-' && 'fault',
                   cage.tx_disable && 'transmitter off', cage.module !== '-' && (cage.loss_of_signal ? 'no signal' : 'signal')];
    return `Port ${number}: ${signs.filter(Boolean).join(', ')}`;
  }

  // ---- selection

  function select(one) {
    selected = one;
    decoded = null;
    placeButtons();
    showSelection();
    if (one.kind === 'port' && !$('#view-module').hidden) showModule();
  }

  async function showSelection() {
    const one = selected;
    if (!one) return;
    const cage = one.kind === 'port' && cageOf(one.number);
    const key = JSON.stringify([one.id, cage, state.board.slots]);
    if ($('#selection').dataset.key === key) return;
    $('#selection').dataset.key = key;
    if (cage && cage.module !== '-') decoded = await ask(`module?port=${one.number}`).catch(() => null);
    else decoded = null;
    if (one !== selected) return;
    const parts = one.kind === 'slot' ? slotParts(one.number) : !cage ? [element('p', {className: 'hint'}, 'A port of a copper board: nothing to plug here.')]
      : cageParts(cage);
    put('#selection', element('h2', {}, labelOf(one)), ...parts);
    showModule();
  }

  function slotParts(slot) {
    const board = choice('Daughter board', [['none'], ['copper'], ['sfp']], (value) => act('fit', {slot, board: value}));
    board.show(state.board.slots[slot - 1].board);
    return [board];
  }

  function cageParts(cage) {
    const port = cage.port, plugs = element('div', {className: 'modules', role: 'group', 'aria-label': 'Modules'});
    plugs.append(...modules.map((module) => button(module.module, () => act('plug', {port, module: module.module}),
      {title: `${module.part_number}, ${module.rate_mbd} MBd`, disabled: module.module === cage.module})));
    if (cage.module === '-') return [element('h3', {}, 'Plug a module'), plugs];
    const light = choice('Light', [[0, 'there'], [1, 'cut']], (value) => act('set los', {port, value}));
    const fault = choice('Transmitter', [[0, 'good'], [1, 'fault']], (value) => act('set txfault', {port, value}));
    light.show(cage.loss_of_signal);
    fault.show(cage.tx_fault);
    const parts = [button('Pull it out', () => act('unplug', {port}), {className: 'main'}), light, fault];
    if (decoded?.link) parts.push(...linkParts(port));
    return [...parts, element('h3', {}, 'Plug another'), plugs];
  }

  function linkParts(port) {
    let {speed, duplex} = decoded.link;
    const send = () => act('set link', {port, speed, ...(speed === 'down' ? {} : {duplex})});
    const speeds = choice('Link partner', [['down'], ['10'], ['100'], ['1000']], (value) => { speed = value; send(); });
    const duplexes = choice('Duplex', [['half'], ['full']], (value) => { duplex = value; send(); });
    speeds.show(speed);
    duplexes.show(duplex);
    return [speeds, duplexes];
  }

  // ---- surroundings and readings

  const supplyChoice = (supply) => choice(`Supply ${supply}`, [['ac', 'AC'], ['dc', 'DC'], ['failed'], ['none', 'pulled']],
                                          (value) => act('set supply', {supply, state: value}));
  const binary = (legend, action, field, texts) => choice(legend, texts, (value) => act(action, {[field]: value}));
  const presence = [['present'], ['absent']];
  const controls = {
    supply1: supplyChoice(1), supply2: supplyChoice(2),
    sensor: binary('Temperature sensor', 'set lm75', 'state', presence),
    clock: binary('Clock chip', 'set rtc', 'state', presence),
    busy: binary('I2C bus', 'set busy', 'value', [[0, 'free'], [1, 'held']]),
    key: binary('Reset key', 'set reset-key', 'value', [[0, 'released'], [1, 'pressed']]),
  };
  const heat = element('input', {type: 'range', id: 'heat', min: -55, max: 125, step: 0.5});
  const degrees = element('output', {htmlFor: 'heat'});
  let pending = null, sending = false;
  heat.oninput = async () => {  // one request at a time, and the last value in the end
    degrees.value = Number(heat.value).toFixed(1) + ' °C';
    pending = heat.value;
    if (sending) return;
    sending = true;
    while (pending !== null) {
      const celsius = pending;
      pending = null;
      await act('set temperature', {celsius});
    }
    sending = false;
  };
  const clockRow = element('form', {className: 'row', onsubmit: (event) => {
    event.preventDefault();
    act('set clock', {time: event.target.elements.time.value});
  }}, element('label', {}, 'Time ', element('input', {name: 'time', type: 'datetime-local', step: 1, required: true})),
  button('Set', null, {type: 'submit'}), button("Host's time", () => act('set clock', {time: 'host'})));
  $('#world').append(controls.supply1, controls.supply2,
    element('fieldset', {}, element('legend', {}, 'Temperature'), element('label', {htmlFor: 'heat', className: 'unseen'}, 'Temperature'), heat, degrees),
    controls.sensor, controls.clock, clockRow, controls.busy, controls.key,
    element('div', {className: 'row'}, button('Reset the board', () => confirm('Put the board back to what it was when made? Its flash stays.') && act('reset')),
      button('Erase the flash', () => confirm('Erase the whole flash and its counters?') && act('flash erase'))));

  let clockAt = 0, shownClock = '';
  function showWorld() {
    const {supplies, i2c, gpio} = state.board;
    supplies.forEach((supply, i) => controls[`supply${i + 1}`].show(supply.type === 'none' ? 'none' : supply.good ? supply.type : 'failed'));
    controls.sensor.show(i2c.sensor_present ? 'present' : 'absent');
    controls.clock.show(i2c.clock_present ? 'present' : 'absent');
    controls.busy.show(i2c.busy);
    controls.key.show(gpio.reset_key);
    if (!sending) {
      heat.value = i2c.temperature;
      degrees.value = i2c.temperature.toFixed(1) + ' °C';
    }
    if (i2c.clock !== shownClock) clockAt = Date.parse(i2c.clock + 'Z') - Date.now();
    shownClock = i2c.clock;
    const leds = Object.entries(state.board.panel).filter(([name]) => name !== 'relay');
    put('#leds', ...leds.map(([name, value]) => element('li', {id: 'led-' + name}, `${words(name)}: ${['off', 'on', 'blinking'][value] ?? value}`)));
    const readings = {
      Temperature: i2c.sensor_present ? i2c.temperature.toFixed(1) + ' °C' : 'no sensor', Clock: '', Relay: state.board.panel.relay ? 'closed' : 'open',
      'Supply 1': supplyText(supplies[0]), 'Supply 2': supplyText(supplies[1]), Watchdog: gpio.watchdog, 'I2C bus': i2c.busy ? 'held' : 'free',
      Faults: state.board.faults || 'none',
    };
    put('#readings', ...Object.entries(readings).map(([name, value]) =>
      element('div', {}, element('dt', {}, name), element('dd', {id: 'reading-' + name.replace(' ', '-').toLowerCase()}, value))));
    showClock();
  }
  const supplyText = (supply) => supply.type === 'none' ? 'pulled' : supply.type.toUpperCase() + (supply.good ? '' : ', failed');
  function showClock() {
    if (!state.board) return;
    const now = new Date(Date.now() + clockAt).toISOString();
    $('#reading-clock').textContent = state.board.i2c.clock_present ? now.slice(0, 10) + ' ' + now.slice(11, 19) : 'no chip';
  }
  setInterval(() => document.hidden || showClock(), 1000);

  // ---- tabs

  const tabs = [...document.querySelectorAll('[role=tab]')];
  function openTab(tab) {
    for (const each of tabs) {
      const open = each === tab;
      each.ariaSelected = String(open);
      each.tabIndex = open ? 0 : -1;
      document.getElementById(each.getAttribute('aria-controls')).hidden = !open;
    }
    if (tab.id === 'tab-module') showModule();
    subscribe();
  }
  tabs.forEach((tab, i) => {
    tab.onclick = () => openTab(tab);
    tab.onkeydown = ({key}) => {
      const to = {ArrowRight: i + 1, ArrowLeft: i - 1, Home: 0, End: tabs.length - 1}[key];
      if (to === undefined) return;
      const next = tabs.at(to % tabs.length);
      next.focus();
      openTab(next);
    };
  });

  // requests

  const kMostLines = 2000, kNodes = ['gpio', 'i2c', 'flash', 'other'], hidden = new Set();
  const nodeOf = (line) => kNodes.find((node) => line.startsWith(node + ' ')) ?? 'other';
  put('#nodes', ...kNodes.map((node) => element('label', {}, element('input', {type: 'checkbox', checked: true, onchange: ({target}) => {
    target.checked ? hidden.delete(node) : hidden.add(node);
    showLines();
  }}), node)));
  $('#filter').oninput = () => showLines();
  $('#pause').onclick = () => {
    paused = !paused;
    $('#pause').ariaPressed = String(paused);
    $('#pause').textContent = paused ? 'Go on' : 'Pause';
    subscribe();
  };
  $('#clear').onclick = () => { lines = []; showLines(); };
  const wanted = (line) => !hidden.has(nodeOf(line)) && line.toLowerCase().includes($('#filter').value.toLowerCase());
  function lineElement(line) {
    const [start, result] = line.split(/ (?== \S+(?: \S+)?$)/);
    const bad = result && !/^= 0$/.test(result) && !/^flash (read|write|lseek)/.test(line) || /= -1/.test(line);
    return element('li', {className: nodeOf(line)}, start + ' ', element('b', {className: bad ? 'bad' : ''}, result ?? ''));
  }
  function showLines(added) {
    const list = $('#lines'), atEnd = list.scrollHeight - list.scrollTop - list.clientHeight < 40;
    const shown = (added ?? lines).filter(wanted).slice(-500).map(lineElement);
    if (added) list.append(...shown);
    else list.replaceChildren(...shown);
    while (list.children.length > 500) list.firstChild.remove();
    if (atEnd || !added) list.scrollTop = list.scrollHeight;
  }
  $('#view-requests form').onsubmit = (event) => event.preventDefault();

  // flash

  const cells = [...Array(512)].map((_, i) => element('i', {className: 'cell', onmouseenter: () => showSector(i)}));
  put('#map', ...cells);
  const firstSector = (region) => Number(region.start) / 0x10000;
  const regionOf = (sector) => state.regions.findLast((region) => firstSector(region) <= sector);
  function showSector(i) {
    const {used, erases} = state.sectors;
    $('#sector').textContent = `Sector ${i} at 0x${(i * 0x10000).toString(16).padStart(8, '0')}, ${regionOf(i).region}: ` +
      `${used[i] ? Math.ceil(used[i] / 2.56) + ' % used' : 'erased'}, ${erases[i]} erases`;
  }
  function showFlash() {
    if (!state.sectors || !state.regions) return;
    const {used, erases} = state.sectors;
    cells.forEach((cell, i) => {
      const now = `cell${used[i] === 256 ? ' used' : used[i] ? ' part' : ''}${erases[i] ? ' worn' : ''}`;
      if (cell.className !== now) cell.className = now;
      cell.style.setProperty('--wear', erases[i] ? Math.min(1, 0.2 + Math.log10(erases[i]) / 5) : 0);
    });
    const ends = state.regions.slice(1).map(firstSector).concat(512);
    put('#regions tbody', ...state.regions.map((region, i) => {
      const first = firstSector(region), pages = used.slice(first, ends[i]).reduce((a, b) => a + b, 0);
      return element('tr', {}, ...[region.region, region.start, ends[i] - first, Math.ceil(pages / (ends[i] - first) / 2.56) + ' %', region.erases, region.programs]
        .map((text) => element('td', {}, text)));
    }));
  }

  // module

  const value = (one) => Array.isArray(one) ? one.join(', ') || '-' : String(one === '' ? '-' : one);
  function showModule() {
    if (!decoded) return put('#view-module', element('p', {className: 'hint'}, 'Choose a cage with a module on the front panel.'));
    const rows = decoded.page.match(/.{32}/g).map((row, i) => {
      const bytes = row.match(/../g), text = bytes.map((byte) => String.fromCharCode(parseInt(byte, 16))).join('');
      return `${(i * 16).toString(16).padStart(2, '0')}  ${bytes.join(' ')}  ${text.replace(/[^ -~]/g, '.')}`;
    });
    put('#view-module', element('h3', {}, `Port ${decoded.port}: ${decoded.module}`), element('dl', {className: 'decoded'}, ...Object.entries(decoded.decoded)
      .map(([name, one]) => element('div', {}, element('dt', {}, words(name)), element('dd', {}, value(one))))),
      element('pre', {tabIndex: 0, 'aria-label': 'Bytes of the page'}, rows.join('\n')));
  }

  // faults, and a form for each command

  function formOf({action, what, fields}, label) {
    const inputs = fields.map(({field, optional, values}) => {
      const input = values.length ? element('select', {name: field}, ...(optional ? [''] : []).concat(values).map((one) => element('option', {}, one)))
        : element('input', {name: field, required: !optional, size: 8});
      return element('label', {}, field + ' ', input);
    });
    return element('form', {className: 'row', onsubmit: (event) => {
      event.preventDefault();
      const given = [...new FormData(event.target)].filter(([, one]) => one !== '');
      act(action, Object.fromEntries(given.map(([name, one]) => [name, name === 'flash' ? one === 'true' : one])));
    }}, element('b', {}, label ?? action), ...inputs, button(label ? 'Add' : 'Do', null, {type: 'submit'}), label ? '' : element('span', {className: 'hint'}, what));
  }
  $('#heal').onclick = () => act('heal');
  function showRules() {
    $('#fault-count').textContent = state.rules.length || '';
    $('#heal').disabled = !state.rules.length;
    put('#rules tbody', ...state.rules.map((rule) => element('tr', {}, ...Object.values(rule).map((one) => element('td', {}, one)))));
  }

  // ---- news

  const shows = {
    picture: () => { showPicture(state.picture); placeButtons(); },
    board: () => { $('#name').textContent = document.title = state.board.board; showWorld(); placeButtons(); showSelection(); },
    sectors: showFlash,
    regions: showFlash,
    rules: showRules,
    gone: () => { $('#gone').hidden = !state.gone; $('#gone').textContent = state.gone ?? ''; },
    live: () => { $('#live').textContent = state.live ? 'live' : 'no connection'; $('#live').className = state.live ? 'good' : 'bad'; },
  };
  let fresh = new Set(), added = [];
  function show() {
    const parts = fresh, news = added;
    fresh = new Set();
    added = [];
    if (news.length) showLines(news);
    for (const part of parts) shows[part]?.();
  }
  function take({requests, ...news}) {
    if (!fresh.size && !added.length) requestAnimationFrame(show);
    if (requests && !paused) {
      lines = lines.concat(requests).slice(-kMostLines);
      added.push(...requests);
    }
    for (const part in news) {
      state[part] = news[part];
      fresh.add(part);
    }
  }

  let feed;
  const subscribe = () => feed?.postMessage({requests: !$('#view-requests').hidden && !paused});
  if (window.SharedWorker) {
    feed = new SharedWorker('/page.js').port;
  } else {
    const channel = new MessageChannel();
    eventFeed()(channel.port2);
    feed = channel.port1;
  }
  feed.onmessage = ({data}) => take(data);
  addEventListener('pagehide', () => feed.postMessage('ends'));
  addEventListener('pageshow', (event) => event.persisted && location.reload());

  Promise.all([ask('modules'), ask('actions')]).then(([catalogue, {actions}]) => {
    modules = catalogue.modules;
    put('#view-commands', ...actions.map((action) => formOf(action)));
    $('#fault-form').replaceWith(formOf(actions.find(({action}) => action === 'fail'), 'New fault'));
  });
  openTab(tabs[0]);
}

if (typeof document !== 'undefined') {
  page();
} else {
  const connect = eventFeed();
  onconnect = ({ports: [port]}) => connect(port);
}
