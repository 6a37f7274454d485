#include "StudioPage.h"

#include "RenderCommand.h"
#include "RenderScript.h"
#include "RenderStyle.h"

namespace {

const char kStudioStyle[] = R"CSS(
.studio-header {
  display: flex; align-items: baseline; gap: 18px; flex-wrap: wrap; padding: 20px 48px 6px 48px;
}
.studio-header h1 { font-size: 28px; margin: 0; }
.studio-state { margin: 0; font-size: 13px; color: #8b95a7; }
.studio-state[data-state="live"] { color: #3ecf8e; }
.studio-state[data-state="reconnecting"], .studio-state[data-state="store-unreachable"] { color: #f0b45a; }
.studio-help { margin: 0; font-size: 13px; color: #6f7a8c; }
.studio-empty { padding: 24px 48px; color: #8b95a7; }
.studio-row { border-top: 1px solid #1f2530; padding: 8px 0 4px 0; }
.studio-row-header { display: flex; align-items: baseline; gap: 14px; flex-wrap: wrap; padding: 6px 48px 0 48px; }
.studio-row-title { font-size: 24px; margin: 0; }
.studio-row-module { font-size: 13px; color: #8b95a7; font-family: "DejaVu Sans Mono", monospace; }
.studio-row-counts, .studio-row-change { font-size: 13px; color: #8b95a7; }
.studio-row-change.is-fresh { color: #f3f5f9; background: #2a3344; border-radius: 4px; padding: 1px 6px; }
.studio-row .preview { padding: 0 0 8px 0; }
.tile { position: relative; }
.tile.is-fresh[data-change] { transition: box-shadow 0.3s; }
.tile.is-fresh[data-change="inserted"] { box-shadow: 0 0 0 3px #3ecf8e, 0 6px 18px rgba(0, 0, 0, 0.45); }
.tile.is-fresh[data-change="updated"] { box-shadow: 0 0 0 3px #f0b45a, 0 6px 18px rgba(0, 0, 0, 0.45); }
.tile.is-ghost { opacity: 0.45; border: 2px dashed #e2574c; }
.tile.is-fresh[data-change]::before {
  content: attr(data-change); position: absolute; top: 6px; right: 6px; z-index: 2;
  font-size: 11px; padding: 1px 6px; border-radius: 4px; background: rgba(10, 12, 16, 0.8); color: #f3f5f9;
}
.studio-removed { list-style: none; margin: 0; padding: 0 48px 10px 48px; display: flex; gap: 18px; }
.studio-details {
  position: fixed; top: 0; right: 0; bottom: 0; width: 440px; overflow-y: auto; z-index: 10;
  background: #11151c; border-left: 1px solid #2a3140; padding: 18px 22px; box-shadow: -8px 0 24px rgba(0, 0, 0, 0.5);
}
.studio-details h2 { margin: 0 0 4px 0; font-size: 20px; }
.studio-details h3 { margin: 16px 0 6px 0; font-size: 13px; color: #8b95a7; text-transform: uppercase; letter-spacing: 0.6px; }
.studio-details p { margin: 0; font-size: 13px; color: #c9d1de; }
.details-columns { border-collapse: collapse; font-size: 12px; width: 100%; }
.details-columns th { text-align: left; color: #8b95a7; font-weight: 400; padding: 2px 10px 2px 0; vertical-align: top; white-space: nowrap; }
.details-columns td { color: #e8ecf3; padding: 2px 0; word-break: break-all; font-family: "DejaVu Sans Mono", monospace; }
.details-public-extra { font-size: 12px; background: #0b0e13; padding: 8px; border-radius: 6px; white-space: pre-wrap; word-break: break-all; margin: 0; }
.details-close { font-size: 12px; color: #6f7a8c; }
)CSS";

const char kStudioScript[] = R"JS(
(function () {
  "use strict";
  var FRESH_MS = 6000;
  var rows = document.getElementById("studio-rows");
  var stateLine = document.getElementById("studio-state");
  var panel = document.getElementById("studio-details");
  var modules = {};
  var focus = null;
  var opened = null;
  var received = 0;

  function make(tag, cls, text) {
    var node = document.createElement(tag);
    if (cls) node.className = cls;
    if (text !== undefined && text !== null) node.textContent = String(text);
    return node;
  }
  function byRowId(scope, selector, id) {
    return scope.querySelector(selector + '[data-row-id="' + CSS.escape(String(id)) + '"]');
  }
  function setState(state, text) {
    stateLine.setAttribute("data-state", state);
    stateLine.textContent = text;
  }
  function rowFor(name) {
    var known = modules[name];
    if (known) return known.row;
    var row = make("section", "studio-row");
    row.setAttribute("data-module", name);
    var header = make("header", "studio-row-header");
    header.appendChild(make("h2", "studio-row-title", name));
    header.appendChild(make("span", "studio-row-module", name));
    header.appendChild(make("span", "studio-row-counts", ""));
    header.appendChild(make("span", "studio-row-change", ""));
    row.appendChild(header);
    row.appendChild(make("div", "preview studio-row-sections"));
    modules[name] = { row: row, seen: {} };
    rows.appendChild(row);
    return row;
  }
  function plural(n, word) { return n + " " + word + (n === 1 ? "" : "s"); }
  function delta(c) { return "+" + (c.inserted || 0) + " ~" + (c.updated || 0) + " -" + (c.deleted || 0); }
  function changeText(change) {
    if (!change) return "";
    var text = "last change: sections " + delta(change.sections) + ", tiles " + delta(change.tiles) + ": " +
      plural(change.requests || 0, "request");
    if (change.refused) text += ", " + change.refused + " refused (" + (change.last_refusal || "") + ")";
    if (change.incomplete) text += " (some requests were no longer in the journal)";
    return text;
  }
  function navRows() {
    return Array.prototype.filter.call(document.querySelectorAll(".studio-row .preview-section"), function (s) {
      return s.querySelector(".tile:not(.is-ghost)") !== null;
    });
  }
  function tilesOf(section) { return section.querySelectorAll(".tile:not(.is-ghost)"); }
  function setFocus(tile) {
    var all = document.querySelectorAll(".tile.is-focused");
    for (var i = 0; i < all.length; ++i) if (all[i] !== tile) all[i].classList.remove("is-focused");
    if (!tile) { focus = null; return; }
    var next = { module: tile.closest(".studio-row").getAttribute("data-module"), rowId: tile.getAttribute("data-row-id") };
    var moved = !focus || focus.module !== next.module || focus.rowId !== next.rowId;
    tile.classList.add("is-focused");
    focus = next;
    if (moved && tile.scrollIntoView) tile.scrollIntoView({ block: "nearest", inline: "nearest" });
  }
  function restoreFocus() {
    var tile = null;
    if (focus && modules[focus.module]) tile = byRowId(modules[focus.module].row, ".tile:not(.is-ghost)", focus.rowId);
    if (!tile) {
      var first = navRows()[0];
      tile = first ? tilesOf(first)[0] : null;
    }
    setFocus(tile);
  }
  function centreX(node) { var r = node.getBoundingClientRect(); return r.left + r.width / 2; }
  function move(dx, dy) {
    var current = document.querySelector(".tile.is-focused");
    if (!current) { restoreFocus(); return; }
    var sections = navRows();
    var section = current.closest(".preview-section");
    var si = sections.indexOf(section);
    var list = Array.prototype.slice.call(tilesOf(section));
    var ti = list.indexOf(current);
    if (dx !== 0) {
      var next = list[ti + dx];
      if (next) setFocus(next);
      return;
    }
    var target = sections[si + dy];
    if (!target) return;
    // As on a TV: the tile of the next row nearest below or above the focused one.
    var x = centreX(current), best = null, bestDistance = Infinity;
    var candidates = tilesOf(target);
    for (var i = 0; i < candidates.length; ++i) {
      var d = Math.abs(centreX(candidates[i]) - x);
      if (d < bestDistance) { bestDistance = d; best = candidates[i]; }
    }
    if (best) setFocus(best);
  }
  function row(table, name, value) {
    var tr = make("tr");
    tr.setAttribute("data-column", name);
    tr.appendChild(make("th", "", name));
    tr.appendChild(make("td", "", value));
    table.appendChild(tr);
  }
  function writtenText(request) {
    if (!request) return "before the studio started watching this module (no request of its journal is known to have written it)";
    var when = request.time ? new Date(request.time * 1000).toISOString().replace("T", " ").replace(/\.\d+Z$/, " UTC") : "";
    return "request #" + request.seq + ": " + request.method + " on " + (request.table || "-") + ", " +
      plural(request.rows || 0, "row") + (when ? ", at " + when : "");
  }
  function fillDetails(info) {
    var columns = info.columns || {};
    panel.textContent = "";
    panel.setAttribute("data-module", opened.module);
    panel.setAttribute("data-row-id", opened.rowId);
    panel.appendChild(make("h2", "details-title", columns.tile_title || "Untitled"));
    panel.appendChild(make("p", "details-module", opened.module));
    panel.appendChild(make("h3", "", "Display window"));
    panel.appendChild(make("p", "details-window", info.window));
    panel.appendChild(make("h3", "", "Last written by"));
    panel.appendChild(make("p", "details-written-by", writtenText(info.written_by)));
    panel.appendChild(make("h3", "", "Public extra"));
    if (info.public_extra) {
      panel.appendChild(make("pre", "details-public-extra", JSON.stringify(info.public_extra, null, 2)));
    } else {
      panel.appendChild(make("p", "details-public-extra is-missing", info.public_extra_error || "none stored"));
    }
    panel.appendChild(make("h3", "", "Stored columns"));
    var table = make("table", "details-columns");
    Object.keys(columns).sort().forEach(function (name) { row(table, name, columns[name]); });
    panel.appendChild(table);
    panel.appendChild(make("p", "details-close", "Escape closes"));
    panel.hidden = false;
  }
  // The details of the opened tile as the studio knows them now; the panel closes when the
  // tile is gone.
  function loadDetails() {
    if (!opened) return;
    var asked = opened;
    fetch("/tile?module=" + encodeURIComponent(asked.module) + "&id=" + encodeURIComponent(asked.rowId))
      .then(function (answer) { return answer.ok ? answer.json() : null; })
      .then(function (info) {
        if (opened !== asked) return;
        if (info) fillDetails(info); else closeDetails();
      }, function () {});
  }
  function openDetails() {
    var current = document.querySelector(".tile.is-focused");
    if (!current) return;
    opened = { module: current.closest(".studio-row").getAttribute("data-module"), rowId: current.getAttribute("data-row-id") };
    loadDetails();
  }
  function closeDetails() {
    opened = null;
    panel.hidden = true;
    panel.textContent = "";
  }
  function applyOrder(list) {
    var wanted = {};
    list.forEach(function (name) { wanted[name] = true; rows.appendChild(rowFor(name)); });
    Object.keys(modules).forEach(function (name) {
      if (!wanted[name]) { modules[name].row.remove(); delete modules[name]; }
    });
    var empty = document.getElementById("studio-empty");
    empty.hidden = list.length > 0;
    restoreFocus();
  }
  function applyModule(data) {
    var row = rowFor(data.module);
    var box = row.querySelector(".studio-row-sections");
    // Every tile drawn so far, so that a tile the last publish deleted can be shown leaving,
    // also when the page was last sent a state from the middle of that publish.
    var seen = modules[data.module].seen;
    var before = box.querySelectorAll(".tile[data-row-id]:not(.is-ghost)");
    for (var b = 0; b < before.length; ++b) {
      var section = before[b].closest(".preview-section");
      seen[before[b].getAttribute("data-row-id")] = { node: before[b].cloneNode(true), section: section ? section.getAttribute("data-row-id") : null };
    }
    var ghosts = [];
    (data.deleted || []).forEach(function (id) {
      if (seen[id]) ghosts.push({ node: seen[id].node.cloneNode(true), section: seen[id].section });
    });
    box.innerHTML = data.html || "";
    if (!data.html) box.appendChild(make("p", "preview-empty", "Nothing stored for this module."));
    if (window.pelmoWatchImages) window.pelmoWatchImages(box);
    var fresh = [];
    var marks = data.marks || {};
    var drawn = box.querySelectorAll(".tile[data-row-id]");
    for (var i = 0; i < drawn.length; ++i) {
      drawn[i].classList.remove("is-focused");
      var kind = marks[drawn[i].getAttribute("data-row-id")];
      if (kind) { drawn[i].setAttribute("data-change", kind); drawn[i].classList.add("is-fresh"); fresh.push(drawn[i]); }
    }
    var removed = null;
    ghosts.forEach(function (ghost) {
      var node = ghost.node;
      node.classList.remove("is-focused");
      node.classList.add("is-ghost", "is-fresh");
      node.setAttribute("data-change", "deleted");
      var list = ghost.section !== null ? box.querySelector('.preview-section[data-row-id="' + CSS.escape(ghost.section) + '"] .tile-row') : null;
      if (!list) {
        if (!removed) { removed = make("ol", "studio-removed"); box.appendChild(removed); }
        list = removed;
      }
      list.appendChild(node);
      fresh.push(node);
    });
    var change = row.querySelector(".studio-row-change");
    change.textContent = changeText(data.last_change);
    if (data.last_change) { change.classList.add("is-fresh"); fresh.push(change); }
    setTimeout(function () {
      fresh.forEach(function (node) {
        if (node.classList.contains("is-ghost")) node.remove(); else node.classList.remove("is-fresh");
      });
    }, FRESH_MS);
    row.querySelector(".studio-row-title").textContent = data.title || data.module;
    row.querySelector(".studio-row-counts").textContent =
      plural(data.sections || 0, "section") + ", " + plural(data.tiles || 0, "tile") + " \u00b7 " +
      (data.sync_count || 0) + (data.sync_count === 1 ? " publish" : " publishes") + " seen";
    row.setAttribute("data-publishes", String(data.sync_count || 0));
    row.setAttribute("data-change-seq", String(data.change_seq || 0));
    row.setAttribute("data-tile-count", String(data.tiles || 0));
    // Only tiles still drawn, or deleted since the last completed publish, need remembering.
    var keep = {};
    (data.tile_ids || []).forEach(function (id) { keep[id] = true; });
    (data.deleted || []).forEach(function (id) { keep[id] = true; });
    Object.keys(seen).forEach(function (id) { if (!keep[id]) delete seen[id]; });
    restoreFocus();
    if (opened && opened.module === data.module) loadDetails();
  }
  function applyGone(data) {
    if (modules[data.module]) { modules[data.module].row.remove(); delete modules[data.module]; }
    if (opened && opened.module === data.module) closeDetails();
    restoreFocus();
  }
  // Events that arrive faster than the page draws are drawn together: of several states of
  // one module only the last is drawn, and its marks say what changed since the last publish.
  var queue = [];
  var drawing = false;
  function drain() {
    drawing = false;
    var batch = queue;
    queue = [];
    var last = {};
    batch.forEach(function (item, i) { if (item.kind === "module") last[item.data.module] = i; });
    batch.forEach(function (item, i) {
      if (item.kind === "module" && last[item.data.module] !== i) return;
      item.apply(item.data);
    });
  }
  function handle(kind, apply) {
    source.addEventListener(kind, function (e) {
      queue.push({ kind: kind, apply: apply, data: JSON.parse(e.data) });
      document.body.setAttribute("data-events", String(++received));
      if (!drawing) { drawing = true; setTimeout(drain, 0); }
    });
  }
  document.addEventListener("keydown", function (e) {
    if (e.key === "Escape") { if (opened) { closeDetails(); e.preventDefault(); } return; }
    if (opened) return;
    var moves = { ArrowLeft: [-1, 0], ArrowRight: [1, 0], ArrowUp: [0, -1], ArrowDown: [0, 1] };
    if (moves[e.key]) { move(moves[e.key][0], moves[e.key][1]); e.preventDefault(); }
    else if (e.key === "Enter") { openDetails(); e.preventDefault(); }
  });
  var source = new EventSource("/events");
  source.onopen = function () { setState("live", "live"); };
  source.onerror = function () { setState("reconnecting", "connection to the studio lost; trying again"); };
  handle("order", applyOrder);
  handle("module", applyModule);
  handle("gone", applyGone);
  handle("store", function (data) {
    if (data.reachable) setState("live", "live");
    else setState("store-unreachable", "the store cannot be reached: " + (data.error || ""));
  });
})();
)JS";

struct PT_STUDIO_PAGE {
    std::string sHtml;
    std::string sPolicy;
};

const PT_STUDIO_PAGE& Page()
{
    static const PT_STUDIO_PAGE page = [] {
        PT_STUDIO_PAGE built;
        // The render page's script first: it places image placeholders and offers its image
        // watching to the studio's script.
        const std::string sScript = std::string(PreviewPageScript()) + kStudioScript;
        built.sPolicy = "default-src 'none'; img-src http: https:; style-src 'unsafe-inline'; script-src '" +
                        PageScriptHash(sScript) +
                        "'; connect-src 'self'; base-uri 'none'; form-action 'none'; frame-ancestors 'none'";
        built.sHtml =
            "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
            "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
            "<title>Home screen studio</title>\n<style>" +
            std::string(PreviewPageStyle()) + kStudioStyle +
            "</style>\n</head>\n<body>\n"
            "<header class=\"studio-header\"><h1>Home screen</h1>"
            "<p class=\"studio-state\" id=\"studio-state\" data-state=\"connecting\">connecting</p>"
            "<p class=\"studio-help\">\xE2\x86\x90 \xE2\x86\x91 \xE2\x86\x93 \xE2\x86\x92 move \xC2\xB7 Enter details "
            "\xC2\xB7 Escape closes</p></header>\n"
            "<p class=\"studio-empty\" id=\"studio-empty\">No module is registered in the store yet.</p>\n"
            "<main id=\"studio-rows\" class=\"studio-rows\"></main>\n"
            "<aside id=\"studio-details\" class=\"studio-details\" hidden></aside>\n"
            "<script>" +
            sScript + "</script>\n</body>\n</html>\n";
        return built;
    }();
    return page;
}

}  // namespace

const std::string& StudioPageHtml()
{
    return Page().sHtml;
}

const std::string& StudioPagePolicy()
{
    return Page().sPolicy;
}
