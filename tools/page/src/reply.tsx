// The reply that was given, and what it makes the app do.

import type { Given } from "./exchange.ts";
import { isObject, type Json, numberIn, parseFaithfully } from "./json.ts";
import { replyMeaningOf, replyProblems } from "./schema.ts";
import { Members } from "./tree.tsx";

const sources = {
    script: "as the script, or without one the default, has it",
    misbehaviour: "as it was told to misbehave",
    collector: "of the collector's own accord",
};

export function replyLabel(given: Given | null): string {
    if (!given) return "…";
    return given.close ? "closed" : String(given.status);
}

export const isGood = (given: Given | null) => given === null || (!given.close && given.status < 300);

function parsed(body: string): Json | undefined {
    try {
        return parseFaithfully(body);
    } catch {
        return undefined;
    }
}

function effectsOf(given: Given, reply: Json | undefined): string[] {
    if (given.close) return ["The app gets no answer: it drops the document."];
    if (given.body.length < given.bodyBytes) return ["The body is longer than what is kept of it here."];
    if (!isObject(reply)) return ["The body is no JSON object: the app takes the document as done."];
    const waits = numberIn(reply.wait_seconds);
    const holds = reply.send_allowed === false || (waits ?? 0) > 0;
    const effects: string[] = [];
    if (reply.retry === true) {
        effects.push(holds ? "The app uploads the document again, the next time that it may send." : "The app uploads the document again one second later.");
    } else {
        effects.push("The app takes the document as done.");
    }
    if (reply.traffic_limit_exceeded === true) effects.push("It drops every document unsent from now on, until a reply says false.");
    if (reply.traffic_limit_exceeded === false) effects.push("It may send: the traffic limit is not exceeded.");
    if (reply.send_allowed === false) effects.push("It keeps its documents and sends none, until a reply says true.");
    if (reply.send_allowed === true) effects.push("It may send.");
    if (waits !== undefined) effects.push(waits > 0 ? `It sends nothing for ${Math.min(waits, 86400)} s.` : "It waits no longer.");
    if (reply.visit_new_server_time !== undefined && reply.visit_new_server_time !== null) effects.push("It puts visit_new_server_time into later documents.");
    return effects;
}

export function ReplyView({ given }: { given: Given | null }) {
    if (!given) return <p class="pending">The answer is on its way…</p>;
    const reply = given.close ? undefined : parsed(given.body);
    const problems = isObject(reply) ? replyProblems(JSON.parse(given.body)) : [];
    return (
        <>
            <p class="requestline">
                <b class={isGood(given) ? "status good" : "status bad"}>{given.close ? "closed without an answer" : given.status}</b>{" "}
                {sources[given.source]}
            </p>
            <p class="when">
                after {given.milliseconds.toFixed(given.milliseconds < 10 ? 1 : 0)} ms
                {given.delay > 0 && `, of which ${given.delay} s were asked for`}
            </p>
            <h3>What it makes the app do</h3>
            <ul class="effects">
                {effectsOf(given, reply).map((effect) => (
                    <li key={effect}>{effect}</li>
                ))}
            </ul>
            {!given.close && (
                <>
                    <h3>Body</h3>
                    {isObject(reply) ? (
                        <Members value={reply} path="" context={{ problems, meaningOf: replyMeaningOf }} />
                    ) : (
                        <pre class="dump" tabIndex={0}>{given.body || "The body is empty."}</pre>
                    )}
                </>
            )}
        </>
    );
}
