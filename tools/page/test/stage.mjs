// What the tests of the page share: a running collector, uploads to it, and a browser that sees the page.

import { spawn, spawnSync } from "node:child_process";
import assert from "node:assert/strict";
import { mkdtempSync, readFileSync, rmSync } from "node:fs";
import http from "node:http";
import { tmpdir } from "node:os";
import { basename, dirname, join } from "node:path";
import { createInterface } from "node:readline";
import { after, afterEach } from "node:test";
import { fileURLToPath } from "node:url";
import { isDeepStrictEqual } from "node:util";
import { gunzipSync, gzipSync } from "node:zlib";

import { chromium } from "playwright-core";

const here = dirname(fileURLToPath(import.meta.url));
const command = process.env.HARVELSTONE_COMMAND;
export const timeLimit = 60_000;

// ---- Documents ----

const protocol = readFileSync(join(here, "../../../docs/protocol.md"), "utf8");
const complete = JSON.parse(/## A complete document[^]*?```json\n([^]*?)```/.exec(protocol)[1]);

/** The complete document of the protocol's page, changed by the caller. */
export function documentWith(change = () => {}) {
    const document = structuredClone(complete);
    change(document);
    return document;
}

/** A body as an app makes it, with the sizes of its layers. */
export function encoded(document) {
    const json = typeof document === "string" ? document : JSON.stringify(document);
    const text = encodeURIComponent(json).replace(/[!'()*]/g, (each) => `%${each.charCodeAt(0).toString(16).toUpperCase()}`);
    const body = gzipSync(text);
    assert.equal(gunzipSync(body).length, text.length);
    return { body, sizes: { gzip: body.length, encoded: text.length, json: Buffer.byteLength(json) } };
}

// ---- The command ----

export const shopScenario = join(here, "../../../examples/shop.jsonl");

export const run = (...options) => spawnSync(command, options, { encoding: "utf8", timeout: timeLimit });

const cleanUps = [];
afterEach(async () => {
    while (cleanUps.length > 0) await cleanUps.pop()();
});

export function temporaryFolder() {
    const folder = mkdtempSync(join(tmpdir(), "harvelstone-page-"));
    cleanUps.push(() => rmSync(folder, { recursive: true }));
    return folder;
}

export async function startCollector(...options) {
    const child = spawn(command, ["collect", ...options], { stdio: ["ignore", "pipe", "ignore"] });
    const lines = createInterface({ input: child.stdout });
    const [first] = await Promise.race([new Promise((resolve) => lines.once("line", (line) => resolve([line]))), new Promise((resolve) => child.once("exit", () => resolve([""])))]);
    const url = /^listening on (http:\S+)$/.exec(first)?.[1];
    assert.ok(url, "the collector did not start");
    const stop = () =>
        new Promise((resolve) => {
            if (child.exitCode !== null || child.signalCode !== null) return resolve();
            child.once("exit", resolve);
            child.kill();
        });
    cleanUps.push(stop);
    return { url, port: Number(new URL(url).port), stop };
}

/** Uploads a body; the status of the answer, or "closed". */
export function upload(collector, body, { path = "/upload", headers = {} } = {}) {
    return new Promise((resolve) => {
        const request = http.request(collector.url + path, { method: "POST", agent: false, headers: { "Content-Encoding": "gzip", "Content-Length": body.length, ...headers } }, (response) => {
            response.resume();
            response.on("end", () => resolve(response.statusCode));
        });
        request.on("error", () => resolve("closed"));
        request.end(body);
    });
}

export const uploadDocument = (collector, document, options) => upload(collector, encoded(document).body, options);

/** A client of the stream of changes, once it is let in. */
export function openStream(collector) {
    return new Promise((resolve, reject) => {
        const request = http.get(`${collector.url}/api/events`, { agent: false }, (response) => {
            response.on("error", () => {}); // it is torn down
            response.once("data", () => resolve(request));
        });
        request.on("error", reject);
    });
}

// ---- The browser ----

let browser;
after(() => browser?.close());

// How each page looks when its test ends, in the order of the tests.
const pictureFolder = process.env.HARVELSTONE_PICTURES;
let pictureCount = 0;

async function takePicture(page) {
    const name = `${basename(process.argv[1], ".test.mjs")}-${String((pictureCount += 1)).padStart(2, "0")}.png`;
    await page.screenshot({ path: join(pictureFolder, name) });
}

/** A page at the address. At the end of the test it must have asked nobody else for anything, and met no error but those expected. */
export async function openPage(url, expected = /ERR_CONNECTION_REFUSED|ERR_INCOMPLETE_CHUNKED/) {
    browser ??= await chromium.launch({ executablePath: process.env.CHROMIUM ?? "/usr/bin/chromium", args: ["--no-sandbox", "--disable-dev-shm-usage"] });
    const context = await browser.newContext({ viewport: { width: 1440, height: 900 }, colorScheme: "light" });
    const page = await context.newPage();
    page.setDefaultTimeout(timeLimit);
    const own = new URL(url);
    const strayed = [];
    const errors = [];
    page.on("request", (request) => {
        const { protocol: scheme, host } = new URL(request.url());
        const isOwn = scheme === own.protocol && host === own.host;
        if (!isOwn && scheme !== "data:" && scheme !== "blob:" && !expected.test(request.url())) strayed.push(request.url());
    });
    page.on("pageerror", (error) => errors.push(error.message));
    page.on("dialog", (dialog) => {
        errors.push(`a dialog: ${dialog.message()}`);
        void dialog.dismiss();
    });
    page.on("console", (message) => {
        // That a collector has gone is no error of the page.
        if (message.type() === "error" && !expected.test(message.text())) errors.push(message.text());
    });
    cleanUps.push(async () => {
        if (pictureFolder) await takePicture(page);
        await context.close();
        assert.deepEqual({ strayed, errors }, { strayed: [], errors: [] });
    });
    await page.goto(url);
    return page;
}

/** Waits until what is asked for is as expected. */
export async function becomes(ask, expected, isAsExpected = isDeepStrictEqual) {
    const deadline = Date.now() + timeLimit;
    let seen = await ask();
    while (!isAsExpected(seen, expected) && Date.now() < deadline) {
        await new Promise((resolve) => setTimeout(resolve, 20));
        seen = await ask();
    }
    if (!isAsExpected(seen, expected)) assert.deepEqual(seen, expected);
}

const isIn = (seen, expected) => seen.length === expected.length && seen.every((text, index) => text.includes(expected[index]));

/** Waits until there are as many elements as texts, each with its text inside. */
export const showsTexts = (locator, texts) => becomes(() => locator.allInnerTexts(), texts, isIn);

// ---- What every page must do ----

/** Everything that can be pressed or scrolled and that the tabulator does not reach, neither itself nor in a group or in what it holds. */
export const unreachable = (page) =>
    page.evaluate(() => {
        const isScrolled = ({ overflowX, overflowY }, each) => (/auto|scroll/.test(overflowX) && each.scrollWidth > each.clientWidth) || (/auto|scroll/.test(overflowY) && each.scrollHeight > each.clientHeight);
        const pressed = [...document.querySelectorAll("button, input, textarea, summary, [role=listbox]")].filter((each) => each.tabIndex < 0 && !each.closest("[role=tablist]"));
        const scrolled = [...document.querySelectorAll("#app *")].filter((each) => isScrolled(getComputedStyle(each), each) && !each.matches("[tabindex='0'], textarea") && !each.querySelector("button, input, summary, [tabindex='0']"));
        return [...pressed, ...scrolled].map((each) => each.outerHTML.slice(0, 200));
    });

/** The texts that stand out too little from what lies behind them, and how much they do. */
export const hardlyLegible = (page) =>
    page.evaluate(() => {
        const canvas = Object.assign(document.createElement("canvas"), { width: 1, height: 1 });
        const brush = canvas.getContext("2d", { willReadFrequently: true });
        const paint = (colour) => {
            brush.fillStyle = colour;
            brush.fillRect(0, 0, 1, 1);
            return [...brush.getImageData(0, 0, 1, 1).data];
        };
        const luminance = (parts) => {
            const [r, g, b] = parts.map((each) => (each / 255 <= 0.03928 ? each / 255 / 12.92 : ((each / 255 + 0.055) / 1.055) ** 2.4));
            return 0.2126 * r + 0.7152 * g + 0.0722 * b;
        };
        const contrast = (element) => {
            const behind = [];
            for (let each = element; each; each = each.parentElement) behind.unshift(getComputedStyle(each).backgroundColor);
            const back = behind.map(paint).at(-1);
            const [high, low] = [luminance(paint(getComputedStyle(element).color)), luminance(back)].sort((one, other) => other - one);
            return (high + 0.05) / (low + 0.05);
        };
        const hasText = (each) => [...each.childNodes].some((node) => node.nodeType === Node.TEXT_NODE && node.data.trim()) && each.checkVisibility();
        const texts = [...document.querySelectorAll("#app *")].filter(hasText).map((each) => ({ text: `${each.className}: ${each.innerText.slice(0, 60)}`, ratio: contrast(each) }));
        if (texts.length === 0) throw new Error("the page shows no text");
        return texts.filter(({ ratio }) => ratio < 4.5);
    });

/** How far the page is wider than the window. */
export const overhang = (page) => page.evaluate(() => document.documentElement.scrollWidth - document.documentElement.clientWidth);
