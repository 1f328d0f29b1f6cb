#pragma once

namespace rt {

/// The page: one file, which asks for nothing but the status and the picture.
constexpr char PAGE_TEXT[] = R"(<!DOCTYPE html>
<html lang="en">
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<title>Picture</title>
<style>
:root { color-scheme: light dark; --ink: #1b1f24; --paper: #fbfbfa; --soft: #5a636e; --line: #d5d9de; --mark: #0b62c4; }
@media (prefers-color-scheme: dark) {
    :root { --ink: #e8eaed; --paper: #17191c; --soft: #a3abb5; --line: #3a4048; --mark: #7db4ff; }
}
* { box-sizing: border-box; }
body { margin: 0 auto; max-width: 60rem; padding: 1rem; font: 1rem/1.45 system-ui, sans-serif; color: var(--ink); background: var(--paper); }
h1 { font-size: 1.2rem; margin: 0 0 .5rem; overflow-wrap: anywhere; }
h2 { font-size: 1rem; margin: 1.25rem 0 .25rem; }
p { margin: .25rem 0; }
progress { width: 100%; height: 1rem; accent-color: var(--mark); }
img { display: block; max-width: 100%; height: auto; margin: .5rem 0; border: 1px solid var(--line); }
.scroll { overflow-x: auto; }
table { border-collapse: collapse; width: 100%; font-variant-numeric: tabular-nums; }
th, td { text-align: right; padding: .25rem .5rem; border-bottom: 1px solid var(--line); white-space: nowrap; }
th:first-child, td:first-child { text-align: left; padding-left: 0; }
th { color: var(--soft); font-weight: 600; white-space: normal; vertical-align: bottom; }
@media (max-width: 30rem) {
    table { font-size: .85rem; }
    th, td { padding: .25rem; }
}
button { font: inherit; padding: .25rem .75rem; }
:focus-visible { outline: 2px solid var(--mark); outline-offset: 2px; }
</style>
<main>
<h1 id="title">&hellip;</h1>
<progress id="bar" max="100" value="0" aria-label="done"></progress>
<p id="line" role="status">&hellip;</p>
<p><button id="pause" aria-pressed="false" accesskey="p">Pause</button></p>
<img id="picture" alt="The picture so far" width="0" height="0" hidden>
<section id="farm" hidden>
<h2>Clients</h2>
<div class="scroll" tabindex="0" role="region" aria-label="Clients">
<table>
<thead><tr><th scope="col">Address</th><th scope="col">Tiles</th><th scope="col">Mean time</th><th scope="col">Last heard</th></tr></thead>
<tbody id="clients"></tbody>
</table>
</div>
<h2>What waits</h2>
<div id="waits"></div>
</section>
</main>
<script>
"use strict";
const $ = id => document.getElementById(id);
const LONG = 60;
let paused = false, shown = "", last = "";
function time(s) {
    if (s === null) return "\u2013";
    if (s < 0.1) return Number((1000 * s).toPrecision(2)) + " ms";
    if (s < 10 && s % 1) return s.toFixed(1) + " s";
    if (s < 60) return Math.round(s) + " s";
    const m = Math.floor(s / 60);
    return m < 60 ? m + " min " + Math.round(s % 60) + " s" : Math.floor(m / 60) + " h " + m % 60 + " min";
}
function row(cells) {
    const tr = document.createElement("tr");
    for (const c of cells) tr.appendChild(document.createElement("td")).textContent = c;
    return tr;
}
function lines(texts) {
    return texts.map(t => { const p = document.createElement("p"); p.textContent = t; return p; });
}
function show(s) {
    const many = s.of > 1 ? `${s.number} of ${s.of}: ` : "";
    const left = s.secondsLeft === null ? "" : ", about " + time(Math.ceil(s.secondsLeft)) + " left";
    const line = s.tiles ? `${s.percent} %${left} (${s.done} of ${s.tiles} tiles)` : "The scene is being read.";
    if (s.tiles) {
        document.title = s.percent + " % \u00b7 " + many + s.picture;
        $("title").textContent = `${many}${s.picture}, ${s.width} \u00d7 ${s.height} pixels`;
    }
    $("bar").value = s.percent;
    if (line !== last) $("line").textContent = last = line;
    $("farm").hidden = !s.clients;
    if (s.clients) showFarm(s);
}
function showFarm(s) {
    $("clients").replaceChildren(...s.clients.map(c => row([c.address, c.tiles, time(c.meanSeconds), time(c.silentSeconds) + " ago"])));
    const waits = [];
    if (s.untaken) waits.push(s.untaken + " tiles that nobody renders yet");
    if (s.parked) waits.push(s.parked + " connections, for a tile");
    for (const c of s.clients) if (c.heldSeconds > LONG) waits.push("tile " + c.task + ", held by " + c.address + " for " + time(c.heldSeconds));
    if (s.refusals) waits.push(s.refusals + " clients gave a tile back: are their scene files the same?");
    if (!s.clients.length && s.untaken) waits.push("No client is connected: start rt-worker.");
    $("waits").replaceChildren(...lines(waits.length ? waits : ["Nothing."]));
}
// It is made anew every other second at most, so what comes may lack the latest tiles.
async function showPicture(s) {
    if (!s.tiles || shown === s.number + " " + s.picture + " " + s.done) return;
    const answer = await fetch("picture.png");
    if (!answer.ok) return;
    shown = s.number + " " + s.picture + " " + answer.headers.get("X-Tiles-Done");
    const next = new Image(), img = $("picture"), old = img.src;
    next.src = URL.createObjectURL(await answer.blob());
    await next.decode();
    img.src = next.src;
    img.width = next.naturalWidth;
    img.height = next.naturalHeight;
    img.hidden = false;
    if (old) URL.revokeObjectURL(old);
}
async function look() {
    try {
        if (!paused) {
            const s = await (await fetch("status.json")).json();
            show(s);
            await showPicture(s);
        }
    } catch (e) {
        if (last !== null) $("line").textContent = "It has ended, or cannot be reached.";
        last = "";
    }
    setTimeout(look, 2000);
}
$("pause").onclick = () => {
    paused = !paused;
    $("pause").setAttribute("aria-pressed", paused);
    $("pause").textContent = paused ? "Go on" : "Pause";
};
look();
</script>
</html>
)";

}  // namespace rt
