// The page of `harvelstone inspect --html`: a storage folder as a tree.

import { useEffect } from "preact/hooks";

import { countText } from "./format.ts";
import { isObject, type Json, type JsonObject } from "./json.ts";
import { meaningOf } from "./schema.ts";
import { ThemeButton } from "./theme.tsx";
import { Branch, Members } from "./tree.tsx";

interface Folder {
    pending: Json[];
    documentDB: JsonObject;
    documents: Record<string, JsonObject>;
    queues: Record<string, Json[]>;
    /** How many of a queue's records, from the first, its document holds already; by queue name, if any. */
    held: Record<string, number>;
    ledger: { documents: JsonObject; records: Record<string, JsonObject> };
}

export interface Storage {
    folder: string;
    made: string;
    contents: Folder & {
        /** What forked children have left, by the names of their folders. */
        forked: Record<string, Folder>;
        damaged: JsonObject[];
    };
}

const none = { problems: [] };

/** A damaged list may hold anything. */
const pendingIds = (folder: Folder) => folder.pending.filter((id) => typeof id === "string");

const sum = (numbers: number[]) => numbers.reduce((one, other) => one + other, 0);

/** The queues of a document, by what stands before its id. */
function queuesOf(id: string, queues: Record<string, Json[]>): [string, Json[]][] {
    return Object.entries(queues).filter(([name]) => name.endsWith(`_${id}`));
}

/** An app that died in the middle of filling a document leaves its records in both places. */
function queueText(count: number, held: number): string {
    const text = `${countText(count, "record")} in the queue`;
    return held > 0 ? `${text}, ${held === count ? "all" : `the first ${held}`} in the document already` : text;
}

function DocumentTree({ id, folder }: { id: string; folder: Folder }) {
    const { documents, queues, held } = folder;
    const pending = pendingIds(folder);
    const sections = documents[id];
    const place = pending.indexOf(id);
    const waiting = queuesOf(id, queues);
    const recordCount = sum(waiting.map(([name, records]) => records.length - (held[name] ?? 0)));
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

function Ledger({ ledger, where }: { ledger: Folder["ledger"]; where: string }) {
    return (
        <section class="card" aria-label={`Ledger${where}`}>
            <h2>Ledger{where}</h2>
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
                <div class="wide" tabIndex={0} role="group" aria-label="Records by kind">
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

function Documents({ folder, where }: { folder: Folder; where: string }) {
    const pending = pendingIds(folder);
    const ids = [...pending, ...Object.keys(folder.documents).filter((id) => !pending.includes(id))];
    const loose = Object.entries(folder.queues).filter(([name]) => !ids.some((id) => name.endsWith(`_${id}`)));
    return (
        <section class="card" aria-label={`Documents${where}`}>
            <h2>Documents{where}</h2>
            {ids.length === 0 ? <p class="none">There is none.</p> : ids.map((id) => <DocumentTree id={id} folder={folder} key={id} />)}
            {loose.map(([name, records]) => (
                <Branch name={name} path={`/queue/${name}`} value={records} context={none} badge={`${countText(records.length, "record")}, without a document`} key={name} />
            ))}
        </section>
    );
}

function FolderCards({ folder, where }: { folder: Folder; where: string }) {
    return (
        <>
            <Documents folder={folder} where={where} />
            <Ledger ledger={folder.ledger} where={where} />
            <section class="card" aria-label={`Document DB${where}`}>
                <h2>Document DB{where}</h2>
                <Members value={folder.documentDB} path="/db" context={none} />
            </section>
        </>
    );
}

export function StoragePage({ storage }: { storage: Storage }) {
    const { damaged, forked } = storage.contents;
    const folders = [storage.contents, ...Object.values(forked)];
    const figures = [
        ["pending", sum(folders.map((folder) => pendingIds(folder).length))],
        ["documents", sum(folders.map(({ documents }) => Object.keys(documents).length))],
        ["records in queues", sum(folders.flatMap(({ queues }) => Object.values(queues).map((records) => records.length)))],
        ["damaged", damaged.length],
    ] as const;
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
                    {figures.map(([name, value]) => (
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
                <FolderCards folder={storage.contents} where="" />
                {Object.entries(forked).map(([name, folder]) => (
                    <FolderCards folder={folder} where={` in ${name}`} key={name} />
                ))}
            </main>
        </>
    );
}
