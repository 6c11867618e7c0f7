// Buttons that make the collector misbehave for the next uploads.

import { useState } from "preact/hooks";

import { behave, misbehave, type Wish } from "./collector.ts";
import type { Misbehaviour } from "./exchange.ts";
import { countText } from "./format.ts";

const presets: { label: string; title: string; wish: Omit<Wish, "times"> }[] = [
    { label: "Status 503", title: "Answer with status 503 and the body “busy”", wish: { status: 503, body: "busy" } },
    { label: "Delay 5 s", title: "Answer {}, five seconds later", wish: { delay: 5 } },
    { label: "Ask for a repeat", title: "Answer {\"retry\": true}", wish: { body: { retry: true } } },
    { label: "Traffic limit", title: "Answer {\"traffic_limit_exceeded\": true}", wish: { body: { traffic_limit_exceeded: true } } },
    { label: "Wait 60 s", title: "Answer {\"retry\": true, \"wait_seconds\": 60}", wish: { body: { retry: true, wait_seconds: 60 } } },
    { label: "No answer", title: "Close the connection without a byte of an answer", wish: { close: true } },
];

function described({ status, delay, body, close }: Misbehaviour): string {
    const after = delay > 0 ? ` after ${delay} s` : "";
    return close ? `closed without an answer${after}` : `status ${status}, ${body.length > 80 ? `${body.slice(0, 80)}…` : body || "no body"}${after}`;
}

function OwnReply({ onSend }: { onSend: (wish: Omit<Wish, "times">) => void }) {
    const [status, setStatus] = useState(200);
    const [delay, setDelay] = useState(0);
    const [body, setBody] = useState('{"send_allowed": false}');
    const send = (event: Event) => {
        event.preventDefault();
        onSend({ status, delay, body });
    };
    return (
        <details class="own">
            <summary>Own reply</summary>
            <form onSubmit={send}>
                <label>
                    Status <input type="number" min="200" max="599" required value={status} onInput={(event) => setStatus(event.currentTarget.valueAsNumber)} />
                </label>
                <label>
                    Delay in s{" "}
                    <input type="number" min="0" max="3600" step="any" required value={delay} onInput={(event) => setDelay(event.currentTarget.valueAsNumber)} />
                </label>
                <label class="wide">
                    Body <textarea rows={2} spellcheck={false} value={body} onInput={(event) => setBody(event.currentTarget.value)} />
                </label>
                <button type="submit">Answer so</button>
            </form>
        </details>
    );
}

export function MisbehavePanel({ misbehaviour }: { misbehaviour: Misbehaviour | null }) {
    const [times, setTimes] = useState(1);
    const [failure, setFailure] = useState("");
    const run = (job: Promise<void>) => job.then(() => setFailure("")).catch((error: Error) => setFailure(error.message));
    const send = (wish: Omit<Wish, "times">) => run(misbehave({ times: Number.isInteger(times) && times > 0 ? times : 1, ...wish }));
    return (
        <section class="card misbehave" aria-label="Misbehave on purpose">
            <h2>Misbehave</h2>
            <label class="times">
                for the next{" "}
                <input type="number" min="1" max="1000000" value={times} onInput={(event) => setTimes(event.currentTarget.valueAsNumber)} aria-label="How many uploads" />{" "}
                {times === 1 ? "upload" : "uploads"}
            </label>
            <div class="presets">
                {presets.map(({ label, title, wish }) => (
                    <button type="button" title={title} onClick={() => send(wish)} key={label}>
                        {label}
                    </button>
                ))}
            </div>
            <OwnReply onSend={send} />
            <div role="status" class="misbehaving">
                {misbehaviour && (
                    <p>
                        <b>The next {countText(misbehaviour.times, "upload")}:</b> {described(misbehaviour)}{" "}
                        <button type="button" onClick={() => run(behave())}>
                            Stop
                        </button>
                    </p>
                )}
                {failure && <p class="failure">{failure}</p>}
            </div>
        </section>
    );
}
