// The page of `harvelstone inspect --html`: a storage folder as a tree.

import { useEffect } from "preact/hooks";

import { countText } from "./format.ts";
import { isObject, type Json, type JsonObject } from "./json.ts";
import { meaningOf } from "./schema.ts";
import { ThemeButton } from "./theme.tsx";
import { Branch, Members } from "./tree.tsx";

export interface Storage {
    folder: string;
    made: string;
    contents: {
        pending: Json[];
        documentDB: JsonObject;
        documents: Record<string, JsonObject>;
        queues: Record<string, Json[]>;
        /** How many of a queue's records, from the first, its document holds already; by queue name, if any. */
        held: Record<string, number>;
        ledger: { documents: JsonObject; records: Record<string, JsonObject> };
        damaged: JsonObject[];
    };
}

const none = { problems: [] };

/** A damaged list may hold anything. */
const pendingIds = (storage: Storage) => storage.contents.pending.filter((id) => typeof id === "string");

/** The queues of a document, by what stands before its id. */
function queuesOf(id: string, queues: Record<string, Json[]>): [string, Json[]][] {
    return Object.entries(queues).filter(([name]) => name.endsWith(`_${id}`));
}

/** An app that died in the middle of filling a document leaves its records in both places. */
function queueText(count: number, held: number): string {
    const text = `${countText(count, "record")} in the queue`;
    return held > 0 ? `${text}, ${held === count ? "all" : `the first ${held}`} in the document already` : text;
}

function DocumentTree({ id, storage }: { id: string; storage: Storage }) {
    const { documents, queues, held } = storage.contents;
    const pending = pendingIds(storage);
    const sections = documents[id];
    const place = pending.indexOf(id);
    const waiting = queuesOf(id, queues);
    const recordCount = waiting.reduce((sum, [name, records]) => sum + records.length - (held[name] ?? 0), 0);
    return (
        <details class="branch document" data-document={id} open={place === 0}>
            <summary>
                <span class="key">{id}</span>
                <span class={place < 0 ? "tag" : "tag good"}>{place < 0 ? "not pending" : `pending, ${place + 1} of ${pending.length}`}</span>
                {recordCount > 0 && <span class="tag">{countText(recordCount, "record")} not yet in it</span>}
                {!sections && <span class="tag missing">no file that can be read</span>}
            </summary>
            <div class="members">
                {Object.entries(sections ?? {}).map(([name, value]) => (
                    <Branch name={name} path={`/${name}`} value={value} context={{ problems: [], meaningOf, hidesEmpty: true }} key={name} />
                ))}
                {waiting.map(([name, records]) => (
                    <Branch name={name.slice(0, -id.length - 1)} path={`/queue/${name}`} value={records} context={none} badge={queueText(records.length, held[name] ?? 0)} key={name} />
                ))}
            </div>
        </details>
    );
}

const columns = ["recorded", "assembled", "pending", "sent", "dropped", "damaged"];

function amount(value: Json | undefined): string {
    if (!isObject(value)) return String(value ?? "");
    const reasons = Object.entries(value).map(([reason, count]) => `${String(count)} ${reason}`);
    return reasons.join(", ") || "0";
}

function Ledger({ ledger }: { ledger: Storage["contents"]["ledger"] }) {
    return (
        <section class="card" aria-label="Ledger">
            <h2>Ledger</h2>
            <p class="hint">What became of everything so far.</p>
            <dl class="figures">
                {Object.entries(ledger.documents).map(([name, value]) => (
                    <div key={name}>
                        <dt>documents {name}</dt>
                        <dd>{amount(value)}</dd>
                    </div>
                ))}
            </dl>
            {Object.keys(ledger.records).length > 0 && (
                <div class="wide">
                    <table class="ledger">
                        <thead>
                            <tr>
                                <th scope="col">records</th>
                                {columns.map((column) => (
                                    <th scope="col" key={column}>
                                        {column}
                                    </th>
                                ))}
                            </tr>
                        </thead>
                        <tbody>
                            {Object.entries(ledger.records).map(([kind, counts]) => (
                                <tr key={kind}>
                                    <th scope="row">{kind}</th>
                                    {columns.map((column) => (
                                        <td key={column}>{amount(counts[column])}</td>
                                    ))}
                                </tr>
                            ))}
                        </tbody>
                    </table>
                </div>
            )}
        </section>
    );
}

function Damage({ damaged }: { damaged: JsonObject[] }) {
    if (damaged.length === 0) return <p class="fine card">No damage: every file could be read.</p>;
    return (
        <section class="card problems" aria-label="Damaged">
            <h2>Damaged ({damaged.length})</h2>
            {damaged.map((damage, index) => (
                // One file may have several stretches.
                <Branch name={String(damage.file)} path={`/damaged/${index}`} value={damage} context={none} badge={String(damage.why)} isOpen key={index} />
            ))}
        </section>
    );
}

export function StoragePage({ storage }: { storage: Storage }) {
    const { documents, queues, damaged, documentDB, ledger } = storage.contents;
    const pending = pendingIds(storage);
    const ids = [...pending, ...Object.keys(documents).filter((id) => !pending.includes(id))];
    const loose = Object.entries(queues).filter(([name]) => !ids.some((id) => name.endsWith(`_${id}`)));
    const waiting = Object.values(queues).reduce((sum, records) => sum + records.length, 0);
    useEffect(() => {
        document.title = `harvelstone inspect ${storage.folder}`;
    }, []);
    return (
        <>
            <header>
                <h1>
                    <span class="logo" aria-hidden="true" />
                    harvelstone <span>inspect</span>
                </h1>
                <p class="folder">
                    <code>{storage.folder}</code>
                    <small>as it stood on {storage.made}</small>
                </p>
                <dl class="figures">
                    {([["pending", pending.length], ["documents", Object.keys(documents).length], ["records in queues", waiting], ["damaged", damaged.length]] as const).map(([name, value]) => (
                        <div class={name === "damaged" && value > 0 ? "bad" : ""} key={name}>
                            <dt>{name}</dt>
                            <dd>{value.toLocaleString("en")}</dd>
                        </div>
                    ))}
                </dl>
                <ThemeButton />
            </header>
            <main class="storage">
                <Damage damaged={damaged} />
                <section class="card" aria-label="Documents">
                    <h2>Documents</h2>
                    {ids.length === 0 ? <p class="none">There is none.</p> : ids.map((id) => <DocumentTree id={id} storage={storage} key={id} />)}
                    {loose.map(([name, records]) => (
                        <Branch name={name} path={`/queue/${name}`} value={records} context={none} badge={`${countText(records.length, "record")}, without a document`} key={name} />
                    ))}
                </section>
                <Ledger ledger={ledger} />
                <section class="card" aria-label="Document DB">
                    <h2>Document DB</h2>
                    <Members value={documentDB} path="/db" context={none} />
                </section>
            </main>
        </>
    );
}
