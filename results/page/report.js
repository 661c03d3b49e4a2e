// Without this script the page shows everything. With it, groups and checks unfold, and can be searched
// and filtered.
(function () {
  'use strict';
  // The table is in the page as text, which the browser has not parsed. Its rows are made of it here, but a row gets
  // its verdicts when it is shown, and only those of the columns in view: a thousand runs have a hundred thousand,
  // whose layout takes seconds. The verdicts of a row are a line. Before the table there is another start tag in
  // a page that was saved from a browser.
  var source = document.getElementById('ui-source').textContent;
  var verdictsOf = [];
  document.getElementById('ui-place').innerHTML = source.slice(source.indexOf('<table')).replace(/^<td class="v [^\n]*/gm, function (line) {
    verdictsOf.push(line);
    return '';
  });

  var table = document.getElementById('ui-table');
  var search = document.getElementById('ui-search');
  var boxes = Array.prototype.slice.call(document.querySelectorAll('input[data-verdict]'));
  var unexpected = document.getElementById('ui-unexpected');
  var count = document.getElementById('ui-count');
  var none = document.getElementById('ui-none');

  // The rows: a group has checks, a check the row behind it with all that is to be said of it.
  var groups = [], checks = [], byId = {};
  Array.prototype.forEach.call(table.tBodies[0].rows, function (row) {
    if (row.className === 'd') return;
    var line = verdictsOf[groups.length + checks.length];
    if (row.className === 'g') {
      groups.push({ row: row, button: row.querySelector('button'), checks: [], open: row.hasAttribute('data-open'),
                    line: line, view: null });
      byId[row.id] = groups[groups.length - 1];
    } else {
      var check = { row: row, button: row.querySelector('button'), group: groups[groups.length - 1], open: false,
                    verdicts: row.getAttribute('data-v'), matches: true, text: null, line: line, view: null };
      check.more = row.nextElementSibling;
      check.group.checks.push(check);
      checks.push(check);
      byId[row.id] = check;
    }
  });

  // The columns in view, from the first to before the end, and some beside them. Two blocks are always there,
  // which are as many columns as have room on paper; of more, whole blocks come and go.
  var kBlock = 20, kBeside = 10;
  var box = table.closest('.scroll');
  var heads = table.tHead.rows[0].cells;
  var runHeads = table.tHead.querySelectorAll('.run');
  var columns = runHeads.length;
  var view = { first: 0, end: Math.min(columns, 2 * kBlock) };

  // A cell in place of the columns from the first to before the end. None can span more than 1,000.
  function outOfView(first, end) {
    var html = '';
    for (; first < end; first += 1000) {
      var last = Math.min(first + 1000, end);
      html += '<td class="far" colspan="' + (last - first) + '">runs ' + (first + 1) + ' to ' + last + ' are out of view';
    }
    return html;
  }

  function fill(part) {
    if (part.view === view) return;
    part.view = view;
    while (part.row.cells.length > heads.length - columns) part.row.deleteCell(-1);
    var cells = part.line.split('<td').slice(1 + view.first, 1 + view.end);
    part.row.insertAdjacentHTML('beforeend', outOfView(0, view.first) + '<td' + cells.join('<td') + outOfView(view.end, columns));
  }

  // Which columns are in view: those of a table with so many are as wide as each other.
  function look() {
    if (columns <= 2 * kBlock) return;
    var left = runHeads[0].getBoundingClientRect().left;
    var width = (runHeads[columns - 1].getBoundingClientRect().right - left) / columns;
    if (width === 0) return;
    var seen = box.getBoundingClientRect();
    var first = Math.floor(((seen.left - left) / width - kBeside) / kBlock) * kBlock;
    var end = Math.ceil(((seen.right - left) / width + kBeside) / kBlock) * kBlock;
    first = Math.max(0, first);
    end = Math.min(columns, end);
    if (first === view.first && end === view.end) return;
    view = { first: first, end: end };
    draw();
  }

  function show(part, visible) {
    part.row.classList.toggle('on', visible);
    if (visible) fill(part);
  }
  function mark(part) { part.button.setAttribute('aria-expanded', String(part.open)); }

  function draw() {
    var shown = 0;
    groups.forEach(function (group) {
      var matching = 0;
      group.checks.forEach(function (check) {
        var visible = check.matches && group.open;
        if (check.matches) matching += 1;
        show(check, visible);
        check.more.classList.toggle('on', visible && check.open);
        mark(check);
      });
      show(group, matching > 0);
      mark(group);
      shown += matching;
    });
    count.textContent = shown + ' of ' + checks.length + ' checks';
    none.hidden = shown > 0;
  }

  function textOf(check) {
    if (check.text === null) check.text = (check.row.id + ' ' + check.more.textContent).toLowerCase();
    return check.text;
  }

  function isFiltered() {
    return search.value.trim() !== '' || unexpected.checked || boxes.some(function (box) { return box.checked; });
  }

  function filter() {
    var words = search.value.toLowerCase().split(/\s+/).filter(Boolean);
    var wanted = boxes.filter(function (box) { return box.checked; }).map(function (box) { return box.getAttribute('data-verdict'); });
    checks.forEach(function (check) {
      check.matches = (!unexpected.checked || check.verdicts.indexOf('u') >= 0) &&
        (wanted.length === 0 || wanted.some(function (verdict) { return check.verdicts.indexOf(verdict) >= 0; })) &&
        words.every(function (word) { return textOf(check).indexOf(word) >= 0; });
    });
    var filtered = isFiltered();
    groups.forEach(function (group) {
      group.open = filtered ? group.checks.some(function (check) { return check.matches; }) : group.row.hasAttribute('data-open');
    });
    draw();
  }

  function clearFilter() {
    search.value = '';
    unexpected.checked = false;
    boxes.forEach(function (box) { box.checked = false; });
    filter();
  }

  function toggle(part, open) {
    part.open = open === undefined ? !part.open : open;
    draw();
  }

  function partOf(element) {
    var row = element.closest('tr');
    return row === null ? undefined : byId[row.id];
  }

  table.addEventListener('click', function (event) {
    var part = partOf(event.target);
    if (part === undefined || event.target.closest('a') !== null) return;
    if (String(window.getSelection()) !== '' && event.target.closest('button') === null) return;
    toggle(part);
  });

  // Up and down go from row to row, left and right fold and unfold.
  table.addEventListener('keydown', function (event) {
    var button = event.target.closest('button');
    if (button === null || event.ctrlKey || event.altKey || event.metaKey) return;
    var part = partOf(button);
    if (event.key === 'ArrowRight') {
      toggle(part, true);
    } else if (event.key === 'ArrowLeft') {
      if (!part.open && part.group !== undefined) part.group.button.focus();
      toggle(part, false);
    } else if (event.key === 'ArrowDown' || event.key === 'ArrowUp') {
      var buttons = Array.prototype.filter.call(table.querySelectorAll('tbody button'), function (one) {
        return one.offsetParent !== null;
      });
      var next = buttons[buttons.indexOf(button) + (event.key === 'ArrowDown' ? 1 : -1)];
      if (next !== undefined) next.focus();
    } else {
      return;
    }
    event.preventDefault();
  });

  // What a cell says, for those who point at it.
  table.addEventListener('mouseover', function (event) {
    var cell = event.target.closest('td.v');
    if (cell === null || cell.title !== '') return;
    var column = 0;
    for (var before = cell.previousElementSibling; before !== null; before = before.previousElementSibling) column += before.colSpan;
    cell.title = cell.parentNode.id + ', ' + heads[column].textContent + ': ' + cell.firstChild.textContent;
  });

  box.addEventListener('scroll', function () { window.requestAnimationFrame(look); });
  new ResizeObserver(look).observe(box);

  search.addEventListener('input', filter);
  unexpected.addEventListener('change', filter);
  boxes.forEach(function (box) { box.addEventListener('change', filter); });
  document.getElementById('ui-unfold').addEventListener('click', function () {
    groups.forEach(function (group) { group.open = true; });
    draw();
  });
  document.getElementById('ui-fold').addEventListener('click', function () {
    groups.forEach(function (group) { group.open = false; });
    checks.forEach(function (check) { check.open = false; });
    draw();
  });
  document.addEventListener('keydown', function (event) {
    var typing = event.target.closest('input[type=search]') !== null;
    if (event.key === '/' && !typing && !event.ctrlKey && !event.altKey && !event.metaKey) {
      event.preventDefault();
      search.focus();
    } else if (event.key === 'Escape' && typing) {
      clearFilter();
    }
  });

  // A link to a check, a group or a run shows it.
  function follow() {
    var id = '';
    try { id = decodeURIComponent(location.hash.slice(1)); } catch (error) { return; }
    Array.prototype.forEach.call(table.querySelectorAll('.hit'), function (row) { row.classList.remove('hit'); });
    var part = Object.prototype.hasOwnProperty.call(byId, id) ? byId[id] : undefined;
    if (part === undefined) {
      var element = id === '' ? null : document.getElementById(id);
      var folded = element === null ? null : element.closest('details');
      if (folded !== null) {
        folded.open = true;
        element.scrollIntoView();
      }
      return;
    }
    if (isFiltered()) clearFilter();
    part.open = true;
    if (part.group !== undefined) part.group.open = true;
    draw();
    part.row.classList.add('hit');
    part.row.scrollIntoView({ block: 'center' });
    part.button.focus({ preventScroll: true });
  }
  window.addEventListener('hashchange', follow);

  // A browser that goes back fills in again what was typed.
  filter();
  follow();
  // Once it has all of the page, the browser goes to the link by itself and takes the focus away.
  window.addEventListener('load', follow);
})();
