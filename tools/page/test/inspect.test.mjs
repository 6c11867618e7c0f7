// The page that `harvelstone inspect --html` writes, opened from its file.

import assert from "node:assert/strict";
import { appendFileSync, mkdirSync, readdirSync, readFileSync, renameSync, writeFileSync } from "node:fs";
import { join } from "node:path";
import { test } from "node:test";
import { pathToFileURL } from "node:url";

import { becomes, hardlyLegible, openPage, overhang, run, showsTexts, temporaryFolder, unreachable } from "./stage.mjs";

const hostile = "</script><img src=x onerror=alert(1)>";

/** The storage folder of an app that had no network. */
function storageOf(folder) {
    const steps = [
        { do: "installReferrerSet", on: true },
        { do: "network", connected: false },
        { do: "startSession" },
        { do: "page", record: { PARAM_NAME: "cart" } },
        { do: "click", record: { n: 1, text: hostile } },
        { do: "newVisit" },
        { do: "startSession" },
    ];
    const scenario = join(folder, "scenario.jsonl");
    writeFileSync(scenario, steps.map((step) => JSON.stringify(step)).join("\n"));
    const played = run("replay", scenario, "--target", "http://127.0.0.1:9/", "--documents", join(folder, "app"));
    assert.equal(played.status, 0, played.stderr);
    return join(folder, "app", "harvelstone");
}

async function pageOf(storage, file) {
    const written = run("inspect", storage, "--html", file);
    assert.equal(written.status, 0, written.stderr);
    return openPage(pathToFileURL(file).href);
}

test("a storage folder is one page with documents, queues and ledger", async () => {
    const folder = temporaryFolder();
    const storage = storageOf(folder);
    const page = await pageOf(storage, join(folder, "page.html"));
    assert.equal(await page.locator(".folder code").innerText(), storage);
    await page.getByText("No damage: every file could be read.").waitFor();
    await showsTexts(page.locator(".document > summary"), ["pending, 1 of 2", "pending, 2 of 2"]);
    const first = page.locator(".document").first();
    assert.match(await first.locator("> summary").innerText(), /2 records not yet in it/);
    await first.locator('.branch[data-path^="/queue/click"] > summary').first().click();
    assert.ok((await first.innerText()).includes(hostile));
    await first.locator('[data-path="/session"] > summary').click();
    assert.match(await first.locator('[data-path="/session/visit_new"]').innerText(), /"Y"/);
    await showsTexts(page.locator(".ledger tbody th"), ["click", "page"]);
    assert.equal(await page.locator("#app img").count(), 0);
});

test("records that document and queue hold are told to be in the document", async () => {
    const folder = temporaryFolder();
    const storage = storageOf(folder);
    const queue = readdirSync(storage).find((name) => name.startsWith("click_"));
    const document = queue.slice("click_".length);
    const filled = JSON.parse(readFileSync(join(storage, document), "utf8"));
    const id = document.replace(/\.Harvelstone$/, "");
    const [record] = JSON.parse(run("inspect", storage, "--json").stdout).queues[`click_${id}`];
    writeFileSync(join(storage, document), JSON.stringify({ ...filled, retry_count: 1, click: [record] }));
    const page = await pageOf(storage, join(folder, "page.html"));
    const first = page.locator(".document").first();
    assert.match(await first.locator("> summary").innerText(), /1 record not yet in it/);
    await showsTexts(first.locator('.branch[data-path^="/queue/click"] > summary .size').first(), ["1 record in the queue, all in the document already"]);
});

test("damage comes first", async () => {
    const folder = temporaryFolder();
    const storage = storageOf(folder);
    const queue = readdirSync(storage).find((name) => name.startsWith("click_"));
    appendFileSync(join(storage, queue), "no record at all, but long enough to be seen as one");
    const page = await pageOf(storage, join(folder, "page.html"));
    await page.getByRole("heading", { name: "Damaged (1)" }).waitFor();
    assert.match(await page.locator(".problems").innerText(), /bytes that are no record/);
    assert.ok((await page.locator(".problems").innerText()).includes(queue));
});

test("what forked children have left is shown with their folder", async () => {
    const folder = temporaryFolder();
    const storage = storageOf(folder);
    const childs = join(storage, "forked-1");
    renameSync(storage, join(folder, "childs"));
    mkdirSync(storage);
    renameSync(join(folder, "childs"), childs);
    writeFileSync(join(childs, "S1_1.000000.Harvelstone"), "{broken");
    const page = await pageOf(storage, join(folder, "page.html"));
    await page.getByText("There is none.").waitFor();
    const documents = page.getByRole("region", { name: "Documents in forked-1" });
    await showsTexts(documents.locator(".document > summary"), ["pending, 1 of 2", "pending, 2 of 2"]);
    await showsTexts(page.locator(".problems .branch > summary").first(), ["forked-1/S1_1.000000.Harvelstone"]);
    await showsTexts(page.locator("header .figures dd").first(), ["2"]);
});

/** The page of a folder with everything that a page can show, with all of its branches open. */
async function fullPage() {
    const folder = temporaryFolder();
    const storage = storageOf(folder);
    writeFileSync(join(storage, "S1_1.000000.Harvelstone"), "{broken");
    writeFileSync(join(storage, "S2_1.000000.Harvelstone"), JSON.stringify({ retry_count: 1, session: {}, flag: true, gone: null }));
    mkdirSync(join(storage, "forked-1"));
    const page = await pageOf(storage, join(folder, "page.html"));
    await page.evaluate(() => document.querySelectorAll("details").forEach((each) => (each.open = true)));
    return page;
}

test("the keyboard reaches everything, in a narrow window too", async () => {
    const page = await fullPage();
    const first = page.locator(".document").first();
    await first.locator("> summary").focus();
    await page.keyboard.press("Enter");
    await first.locator('[data-path="/session"]').waitFor({ state: "hidden" });
    await page.keyboard.press("Enter");
    await page.keyboard.press("Tab");
    assert.equal(await page.evaluate(() => document.activeElement.parentElement.dataset.path), "/postback");
    assert.deepEqual(await unreachable(page), []);
    await page.setViewportSize({ width: 320, height: 640 });
    assert.deepEqual({ overhang: await overhang(page), unreachable: await unreachable(page) }, { overhang: 0, unreachable: [] });
    const ledger = page.getByRole("group", { name: "Records by kind" }).first();
    await ledger.focus();
    await page.keyboard.press("ArrowRight");
    await becomes(() => ledger.evaluate((each) => each.scrollLeft > 0), true);
});

test("it is legible in light and in dark", async () => {
    const page = await fullPage();
    const background = () => page.evaluate(() => getComputedStyle(document.body).backgroundColor);
    const light = await background();
    assert.deepEqual(await hardlyLegible(page), []);
    await page.emulateMedia({ colorScheme: "dark" });
    const dark = await background();
    assert.notEqual(dark, light);
    assert.deepEqual(await hardlyLegible(page), []);
    await page.getByRole("button", { name: "Theme: system" }).click();
    assert.equal(await background(), light);
});

test("an empty folder is a page too", async () => {
    const folder = temporaryFolder();
    const page = await pageOf(folder, join(folder, "page.html"));
    await page.getByText("There is none.").waitFor();
});
