// The page of `harvelstone collect` in a browser.

import assert from "node:assert/strict";
import { readFileSync } from "node:fs";
import { test } from "node:test";

import { becomes, documentWith, encoded, hardlyLegible, openPage, openStream, overhang, run, shopScenario, showsTexts, startCollector, temporaryFolder, unreachable, upload, uploadDocument } from "./stage.mjs";

const items = (page) => page.getByRole("option");
const numbers = (page) => page.locator(".item .number");
const figure = (page, name) => page.locator(`[data-figure=${name}]`);
const tab = (page, name) => page.getByRole("tab", { name });
const at = (page, path) => page.locator(`.tree [data-path="${path}"]`);

/** A page that shows these uploads. */
async function pageWith(...documents) {
    const collector = await startCollector();
    for (const document of documents) await uploadDocument(collector, document);
    const page = await openPage(collector.url);
    await showsTexts(numbers(page), documents.map((_, index) => `#${documents.length - index}`));
    return { collector, page };
}

test("an empty start says where to upload to, and that it is live", async () => {
    const collector = await startCollector();
    const page = await openPage(collector.url);
    await page.getByText("Live", { exact: true }).waitFor();
    await page.getByRole("heading", { name: "Waiting for the first upload" }).waitFor();
    assert.ok((await page.locator(".empty pre").first().innerText()).startsWith(collector.url));
    await showsTexts(figure(page, "uploads"), ["0"]);
});

test("an upload shows up while the page is open, the newest first", async () => {
    const { collector, page } = await pageWith(documentWith());
    await uploadDocument(collector, documentWith((document) => Object.assign(document.session, { slot_no: 7, visit_new: "Y", visit_new_server_time: undefined })));
    await showsTexts(items(page), ["Visit 7 begins", "Visit 1 goes on"]);
    await showsTexts(figure(page, "uploads"), ["2"]);
    await upload(collector, Buffer.from("plain"));
    await showsTexts(items(page), ["Not decoded", "Visit 7", "Visit 1"]);
    // What is looked at does not change by itself.
    await showsTexts(page.locator(".detail h2"), ["#1"]);
});

test("the filter goes by kind and by text", async () => {
    const onlyClick = documentWith((document) => Object.assign(document, { goal: [], pages: [], revenue: [], push: undefined }));
    const noRecords = documentWith((document) => {
        Object.assign(document, { goal: [], pages: [], revenue: [], click: [], push: undefined });
        document.session.carrier = "Nörd Mobile";
    });
    const { collector, page } = await pageWith(documentWith(), onlyClick, noRecords);
    await upload(collector, Buffer.from("plain"));
    await showsTexts(numbers(page), ["#4", "#3", "#2", "#1"]);

    await page.getByRole("button", { name: "goal 1" }).click();
    await showsTexts(numbers(page), ["#1"]);
    await page.getByRole("button", { name: "no records 2" }).click();
    await showsTexts(numbers(page), ["#4", "#3", "#1"]);
    await page.getByRole("button", { name: /^with problems/ }).click();
    await showsTexts(numbers(page), ["#4", "#3"]);
    await page.getByRole("searchbox").fill("nörd mobile");
    await showsTexts(numbers(page), ["#3"]);
    await page.getByRole("searchbox").fill("nowhere to be found");
    await page.getByText("Nothing passes the filter.").waitFor();
    assert.match(await page.locator(".actions").innerText(), /0 of 4 uploads/);
});

test("the tree shows sections, values as they came, and what keys mean", async () => {
    const text = JSON.stringify(documentWith()).replace('"amount":59.9', '"amount":42.0,"big":12345678901234567890');
    const { page } = await pageWith(text);
    assert.match(await at(page, "/revenue/0/amount").innerText(), /42\.0/);
    assert.match(await at(page, "/revenue/0/big").innerText(), /12345678901234567890/);
    assert.match(await at(page, "/session/slot_no").innerText(), /the visit's place among all/);
    assert.match(await at(page, "/session/create_time").innerText(), /2016-11-16 01:20:01\.5 UTC/);
    assert.match(await at(page, "/pages").locator("summary").first().innerText(), /2 records/);

    assert.equal(await at(page, "/session/carrier").count(), 0);
    await page.getByLabel("hide empty values").uncheck();
    assert.match(await at(page, "/session/carrier").innerText(), /""/);
    await at(page, "/session").locator("summary").first().click();
    await at(page, "/session/uuid").waitFor({ state: "hidden" });
});

test("the request shows path, headers and the sizes of the three layers", async () => {
    const collector = await startCollector();
    const { body, sizes } = encoded(documentWith());
    await upload(collector, body, { path: "/in?app=1", headers: { "X-App": "shop" } });
    const page = await openPage(collector.url);
    await tab(page, "Request").click();
    assert.equal(await page.locator(".requestline").innerText(), "POST /in?app=1");
    await showsTexts(page.locator(".layers .amount"), [sizes.gzip, sizes.encoded, sizes.json].map((size) => `${size.toLocaleString("en")} B`));
    const headers = await page.locator(".headers tr").allInnerTexts();
    assert.ok(headers.some((line) => /X-App\s+shop/.test(line)), headers.join("\n"));
    assert.ok(headers.some((line) => /Content-Encoding\s+gzip/.test(line)), headers.join("\n"));
});

test("the reply is shown with what it makes the app do", async () => {
    const collector = await startCollector();
    const put = (wish) => fetch(`${collector.url}/api/misbehaviour`, { method: "PUT", body: JSON.stringify(wish) });
    await put({ status: 202, body: { retry: true, wait_seconds: 60, oops: 1 } });
    await uploadDocument(collector, documentWith());
    const page = await openPage(collector.url);
    await tab(page, "Reply 202").click();
    await showsTexts(page.locator(".effects li"), ["uploads the document again, the next time that it may send", "sends nothing for 60 s"]);
    assert.match(await page.locator('.tabpanel [data-path="/oops"]').innerText(), /is not known here/);
    await put({ close: true });
    assert.equal(await uploadDocument(collector, documentWith()), "closed");
    await page.locator("#upload-2").click();
    await tab(page, "Reply closed").click();
    await showsTexts(page.locator(".effects li"), ["gets no answer: it drops the document"]);
});

test("an answer that is delayed is awaited", async () => {
    const { collector, page } = await pageWith();
    await fetch(`${collector.url}/api/misbehaviour`, { method: "PUT", body: '{"delay": 3600}' });
    const answer = uploadDocument(collector, documentWith());
    await tab(page, "Reply …").click();
    await page.getByText("The answer is on its way").waitFor();
    await collector.stop();
    assert.equal(await answer, "closed");
});

test("what is wrong with a document is marked in the list and at its place", async () => {
    const wrong = documentWith((document) => {
        delete document.session.uuid;
        delete document.click;
        document.session.slot_no = "3";
        document.session.noise = 1;
        document.pages[1].visit_time = "2016-02-31T01:20:00+00:00";
        document.goal[0].visit_time = "2009-01-01T00:00:00+00:00";
    });
    const { page } = await pageWith(wrong);
    await showsTexts(items(page), ["6 problems"]);
    await showsTexts(figure(page, "wrong"), ["1"]);
    await showsTexts(page.locator(".problems li"), [
        "missing key click is missing",
        "missing key session › uuid is missing",
        "schema session › noise is not known here",
        "schema session › slot_no must be integer",
        "impossible time goal › 1 › visit_time is earlier than the install, by 2876 days",
        "impossible time pages › 2 › visit_time is a day or time that does not exist",
    ]);
    assert.match(await at(page, "/click").innerText(), /is missing/);
    assert.match(await at(page, "/session/slot_no").innerText(), /must be integer/);

    await at(page, "/pages").locator("summary").first().click();
    await page.getByRole("button", { name: "pages › 2 › visit_time" }).click();
    await page.waitForFunction(() => document.activeElement?.dataset.path === "/pages/1/visit_time");
    assert.ok(await at(page, "/pages/1/visit_time").isVisible());
});

test("a device's clock that is ahead is told once, and is no problem", async () => {
    const ahead = new Date(Date.now() + 2 * 86400_000);
    const iso = `${ahead.toISOString().slice(0, 19)}+00:00`;
    const { page } = await pageWith(
        documentWith((document) => {
            Object.assign(document.session, { create_time: ahead.getTime() / 1000, visit_time: iso });
            for (const section of ["goal", "pages", "click", "revenue"]) for (const record of document[section]) record.visit_time = iso;
        }),
    );
    await showsTexts(page.locator(".remark"), ["The device's clock is ahead: the latest time is 2 days later than the arrival."]);
    await showsTexts(figure(page, "wrong"), ["0"]);
});

test("nothing is wrong with what the shop scenario uploads", async () => {
    const collector = await startCollector();
    const played = run("replay", shopScenario, "--target", `${collector.url}/upload`, "--documents", temporaryFolder(), "--json");
    const { uploads } = JSON.parse(played.stdout).counts;
    assert.ok(uploads > 5);
    const page = await openPage(collector.url);
    await showsTexts(figure(page, "uploads"), [`${uploads}`]);
    await showsTexts(figure(page, "wrong"), ["0"]);
    assert.equal(await page.locator(".mark").count(), 0);
});

test("nothing is wrong with the protocol's example, nor with an immediate upload", async () => {
    const { goal, session } = documentWith();
    const { page } = await pageWith(documentWith(), { goal, session });
    await showsTexts(items(page), ["Immediate upload", "Visit 1 goes on"]);
    await showsTexts(figure(page, "wrong"), ["0"]);
    await page.getByText("Nothing is wrong with it.").waitFor();
});

test("a body that does not decode shows why, and its first bytes", async () => {
    const collector = await startCollector();
    await upload(collector, Buffer.from("no gzip <b>"));
    const page = await openPage(collector.url);
    await showsTexts(page.locator(".problems li"), ["decoding the body is no whole gzip stream"]);
    await tab(page, "Request").click();
    await showsTexts(page.locator(".layers .amount"), ["11 B", "not reached", "not reached"]);
    assert.match(await page.locator(".dump").innerText(), /6e 6f 20 67 7a .* no gzip <b>/);
});

test("the chart is drawn and tells its sum", async () => {
    const { page } = await pageWith(documentWith(), documentWith());
    const chart = page.getByRole("img", { name: /^2 uploads, .*kB, in steps of 1 s$/ });
    await chart.waitFor();
    const painted = () =>
        page.evaluate(() => {
            const canvas = document.querySelector(".plot canvas");
            const probe = document.createElement("i");
            probe.style.color = "var(--accent)";
            document.body.append(probe);
            const [red, green, blue] = getComputedStyle(probe).color.match(/\d+/g).map(Number);
            probe.remove();
            const { data } = canvas.getContext("2d").getImageData(0, 0, canvas.width, canvas.height);
            let count = 0;
            for (let index = 0; index < data.length; index += 4) if (data[index] === red && data[index + 1] === green && data[index + 2] === blue) count += 1;
            return count;
        });
    assert.ok((await painted()) > 20);
});

test("buttons make the collector misbehave, and behave again", async () => {
    const { collector, page } = await pageWith(documentWith());
    await page.getByLabel("How many uploads").fill("2");
    await page.getByRole("button", { name: "Status 503" }).click();
    await page.getByText("The next 2 uploads:").waitFor();
    assert.equal(await uploadDocument(collector, documentWith()), 503);
    await page.getByText("The next 1 upload:").waitFor();
    await page.getByRole("button", { name: "No answer" }).click();
    await page.getByText("closed without an answer").waitFor();
    assert.equal(await uploadDocument(collector, documentWith()), "closed");
    await showsTexts(page.locator(".item .status"), ["closed", "503", "200"]);
    await page.getByRole("button", { name: "Stop" }).click();
    await page.getByText("The next 1 upload:").waitFor({ state: "hidden" });
    assert.equal(await uploadDocument(collector, documentWith()), 200);
});

test("every button answers as it says", async () => {
    const { collector, page } = await pageWith();
    const expected = {
        "Delay 5 s": { delay: 5, body: "{}" },
        "Ask for a repeat": { body: '{"retry":true}' },
        "Traffic limit": { body: '{"traffic_limit_exceeded":true}' },
        "Wait 60 s": { body: '{"retry":true,"wait_seconds":60}' },
    };
    for (const [name, wish] of Object.entries(expected)) {
        const button = page.getByRole("button", { name });
        assert.ok((await button.getAttribute("title")).replaceAll(" ", "").includes(wish.body), name);
        await button.click();
        const state = async () => (await (await fetch(`${collector.url}/api/state`)).json()).misbehaviour;
        await becomes(state, { times: 1, status: 200, delay: 0, close: false, ...wish });
    }
    await page.getByText("Own reply").click();
    await page.getByLabel("Status", { exact: true }).fill("418");
    await page.getByLabel("Body").fill("short and stout");
    await page.getByRole("button", { name: "Answer so" }).click();
    await page.getByText("status 418, short and stout").waitFor();
    assert.equal(await uploadDocument(collector, documentWith()), 418);
});

test("the keyboard reaches everything", async () => {
    const { page } = await pageWith(documentWith(), documentWith(), documentWith());
    const heading = page.locator(".detail h2");
    await page.keyboard.press("/");
    await page.keyboard.type("carrier");
    assert.equal(await page.getByRole("searchbox").inputValue(), "carrier");
    await page.keyboard.press("Escape");
    for (const [key, number] of [["End", "#1"], ["ArrowUp", "#2"], ["k", "#3"], ["j", "#2"], ["Home", "#3"]]) {
        await page.keyboard.press(key);
        await showsTexts(heading, [number]);
    }
    assert.equal(await page.getByRole("listbox").getAttribute("aria-activedescendant"), "upload-3");
    await tab(page, "Document").focus();
    await page.keyboard.press("ArrowRight");
    assert.equal(await tab(page, "Request").getAttribute("aria-selected"), "true");
    await page.keyboard.press("ArrowLeft");
    await at(page, "/session").locator("summary").first().focus();
    await page.keyboard.press("Enter");
    await at(page, "/session/uuid").waitFor({ state: "hidden" });

    for (const name of ["Request", "Reply 200", "JSON", "Document"]) {
        await tab(page, name).click();
        assert.deepEqual(await unreachable(page), []);
    }
});

test("it is legible in light and in dark", async () => {
    const { goal, session } = documentWith();
    // Every kind of badge, on a row that is chosen and on one that is not.
    const { collector, page } = await pageWith({ goal, session }, documentWith((document) => delete document.session.uuid), documentWith());
    await fetch(`${collector.url}/api/misbehaviour`, { method: "PUT", body: '{"status": 503}' });
    await page.getByText("The next 1 upload:").waitFor();
    const illegible = async () => {
        const found = [];
        for (const number of [1, 2, 3]) {
            await page.locator(`#upload-${number}`).click();
            for (const name of ["Request", "Reply 200", "JSON", "Document"]) {
                await tab(page, name).click();
                found.push(...(await hardlyLegible(page)));
            }
        }
        return [...found, ...(await weakest())];
    };
    const weakest = () =>
        page.evaluate(() => {
            const luminance = ([red, green, blue]) => {
                const [r, g, b] = [red, green, blue].map((each) => (each / 255 <= 0.03928 ? each / 255 / 12.92 : ((each / 255 + 0.055) / 1.055) ** 2.4));
                return 0.2126 * r + 0.7152 * g + 0.0722 * b;
            };
            const colourOf = (name) => {
                const probe = document.createElement("i");
                probe.style.color = `var(${name})`;
                document.body.append(probe);
                const parts = getComputedStyle(probe).color.match(/[\d.]+/g).map(Number);
                probe.remove();
                return parts;
            };
            const contrast = (one, other) => {
                const [high, low] = [luminance(colourOf(one)), luminance(colourOf(other))].sort((a, b) => b - a);
                return (high + 0.05) / (low + 0.05);
            };
            const pairs = [["--text", "--page"], ["--text", "--card"], ["--muted", "--card"], ["--muted", "--raised"], ["--bad", "--bad-back"], ["--warm", "--warm-back"], ["--good", "--good-back"], ["--blue", "--card"], ["--violet", "--card"], ["--pink", "--card"], ["--accent", "--card"], ["--muted", "--bad-back"]];
            const ratios = pairs.map(([front, back]) => ({ pair: `${front} on ${back}`, ratio: contrast(front, back) }));
            return ratios.filter(({ ratio }) => ratio < 4.5);
        });
    const background = () => page.evaluate(() => getComputedStyle(document.body).backgroundColor);
    const light = await background();
    assert.deepEqual(await illegible(), []);
    await page.emulateMedia({ colorScheme: "dark" });
    const dark = await background();
    assert.notEqual(dark, light);
    assert.deepEqual(await illegible(), []);

    await page.getByRole("button", { name: "Theme: system" }).click();
    assert.equal(await background(), light);
    await page.getByRole("button", { name: "Theme: light" }).click();
    assert.equal(await background(), dark);
    await page.reload();
    await page.getByRole("button", { name: "Theme: dark" }).waitFor();
});

test("it fits into a narrow window, and all that scrolls in it has the keyboard", async () => {
    const { collector, page } = await pageWith(documentWith((document) => delete document.session.uuid));
    await upload(collector, Buffer.from("plain"));
    await fetch(`${collector.url}/api/misbehaviour`, { method: "PUT", body: '{"status": 503}' });
    await page.setViewportSize({ width: 320, height: 640 });
    await page.getByText("Own reply").click();
    for (const number of [1, 2]) {
        await page.locator(`#upload-${number}`).click();
        await showsTexts(page.locator(".detail h2"), [`#${number}`]);
        for (const each of await page.getByRole("tab").all()) {
            await each.click();
            assert.deepEqual({ overhang: await overhang(page), unreachable: await unreachable(page) }, { overhang: 0, unreachable: [] });
        }
    }
});

test("whatever comes from a document or request is text", async () => {
    const hostile = '"><img src=x onerror="alert(1)"><script>alert(2)</script></script><!--';
    const document = documentWith((each) => {
        each.session.carrier = hostile;
        each.session[hostile] = hostile;
        each.click = [{ [hostile]: { [hostile]: [hostile] } }];
        each[hostile] = [hostile];
    });
    const collector = await startCollector();
    await uploadDocument(collector, document, { path: `/<script>alert(3)</script>`, headers: { "X-Evil": hostile } });
    await fetch(`${collector.url}/api/misbehaviour`, { method: "PUT", body: JSON.stringify({ times: 2, body: hostile }) });
    await uploadDocument(collector, document);
    const page = await openPage(collector.url);
    await showsTexts(numbers(page), ["#2", "#1"]);
    assert.match(await at(page, "/session/carrier").innerText(), /<img src=x onerror=/);
    for (const upload of ["#upload-1", "#upload-2"]) {
        await page.locator(upload).click();
        for (const name of ["Request", "Reply", "JSON", "Document"]) await tab(page, name).click();
    }
    assert.equal(await page.locator("#app img, #app script, #app iframe").count(), 0);
    await page.getByText("The next 1 upload:").waitFor();
});

test("the policy holds: no script, style or request of others gets through", async () => {
    const collector = await startCollector();
    const page = await openPage(collector.url, /Content Security Policy|127\.0\.0\.1:9\//);
    const outcome = await page.evaluate(async () => {
        const violations = [];
        document.addEventListener("securitypolicyviolation", (event) => violations.push(event.effectiveDirective));
        const script = document.createElement("script");
        script.textContent = "window.injected = true";
        document.body.append(script);
        // Later: what the test itself has the page do is exempt.
        const evaluated = await new Promise((resolve) =>
            setTimeout(() => {
                try {
                    resolve(new Function("return true")());
                } catch {
                    resolve(false);
                }
            }),
        );
        const fetched = await fetch("http://127.0.0.1:9/").then(() => true, () => false);
        await new Promise((resolve) => setTimeout(resolve));
        return { injected: window.injected === true, evaluated, fetched, isBlocked: violations.includes("script-src-elem") && violations.includes("connect-src") };
    });
    assert.deepEqual(outcome, { injected: false, evaluated: false, fetched: false, isBlocked: true });
});

test("what is shown is exported as JSON Lines, oldest first", async () => {
    const first = documentWith();
    const second = documentWith((document) => Object.assign(document, { goal: [], note: "zwei\nZeilen" }));
    const { page } = await pageWith(first, JSON.stringify(second, null, 2));
    const exported = async () => {
        const download = page.waitForEvent("download");
        await page.getByRole("button", { name: "Export" }).click();
        const file = await (await download).path();
        return readFileSync(file, "utf8").trimEnd().split("\n").map((line) => JSON.parse(line));
    };
    assert.deepEqual(await exported(), [first, second]);
    await page.getByRole("button", { name: /^goal/ }).click();
    await showsTexts(numbers(page), ["#1"]);
    assert.deepEqual(await exported(), [first]);
});

test("clearing empties the page, and what comes then is shown", async () => {
    const { collector, page } = await pageWith(documentWith(), documentWith());
    await page.getByRole("button", { name: "Clear" }).click();
    await page.getByRole("heading", { name: "Waiting for the first upload" }).waitFor();
    await uploadDocument(collector, documentWith());
    await showsTexts(numbers(page), ["#3"]);
});

test("a collector that ends and comes back is noticed", async () => {
    const { collector, page } = await pageWith(documentWith());
    await collector.stop();
    await page.getByText("Not connected").waitFor();
    const again = await startCollector("--port", String(collector.port));
    await page.getByText("Live", { exact: true }).waitFor();
    await uploadDocument(again, documentWith((document) => (document.session.slot_no = 9)));
    await showsTexts(items(page), ["Visit 9"]);
});

/** As a browser does it when another tab comes to the front, and when this one does. */
const turn = (page, state) =>
    page.evaluate((value) => {
        Object.defineProperty(document, "visibilityState", { value, configurable: true });
        document.dispatchEvent(new Event("visibilitychange"));
    }, state);

test("more tabs than a browser has connections can be open", async () => {
    const { collector, page } = await pageWith(documentWith());
    const context = page.context();
    for (let tabs = 1; tabs < 8; tabs += 1) {
        await turn(context.pages().at(-1), "hidden");
        const next = await context.newPage();
        await next.goto(collector.url, { timeout: 10_000 });
        await showsTexts(numbers(next), ["#1"]);
    }
});

test("a tab is told what it has missed in the background", async () => {
    const { collector, page } = await pageWith(documentWith());
    const asked = [];
    page.on("request", (request) => asked.push(new URL(request.url())));
    await turn(page, "hidden");
    await page.getByText("Not connected").waitFor();
    await uploadDocument(collector, documentWith());
    assert.equal(asked.length, 0);
    await turn(page, "visible");
    await page.getByText("Live", { exact: true }).waitFor();
    await showsTexts(numbers(page), ["#2", "#1"]);
    assert.match(asked[0].searchParams.get("after"), /^[\d.]+-\d+$/);

    await turn(page, "hidden");
    await fetch(`${collector.url}/api/exchanges`, { method: "DELETE" });
    await turn(page, "visible");
    await page.getByRole("heading", { name: "Waiting for the first upload" }).waitFor();
});

test("a page that was refused for too many clients comes in later", async () => {
    const collector = await startCollector();
    const clients = [];
    for (let count = 0; count < 16; count += 1) clients.push(await openStream(collector));
    const page = await openPage(collector.url, /status of 503/);
    await page.getByText("Not connected").waitFor();
    for (const client of clients) client.destroy();
    await page.getByText("Live", { exact: true }).waitFor();
});

test("of many uploads the page shows some, and more when asked", async () => {
    const collector = await startCollector();
    const { body } = encoded({ session: {}, click: [{}] });
    for (let count = 0; count < 260; count += 20) await Promise.all(Array.from({ length: 20 }, () => upload(collector, body)));
    const page = await openPage(collector.url);
    await showsTexts(figure(page, "uploads"), ["260"]);
    await page.getByRole("button", { name: "Show 60 older uploads" }).click();
    await page.locator("#upload-1").waitFor();
    assert.equal(await items(page).count(), 260);
});
