// One upload: its document, the request, the reply.

import { useState } from "preact/hooks";

import { type Examined, recordSections } from "./examined.ts";
import { countText, timeOfDay } from "./format.ts";
import { isObject, type Json, laidOut } from "./json.ts";
import { isBroken, type Problem, problemNames } from "./problems.ts";
import { ReplyView, replyLabel } from "./reply.tsx";
import { RequestView } from "./request.tsx";
import { meaningOf } from "./schema.ts";
import { Tabs } from "./tabs.tsx";
import { Branch, Members, type TreeContext } from "./tree.tsx";

const longestRaw = 256 * 1024;
const sectionOrder = [...recordSections, "session", "postback"] as const;

const isFilled = (value: Json | undefined) => (Array.isArray(value) && value.length > 0) || (isObject(value) && Object.keys(value).length > 0);

/** "pages › 1 › visit_time": as the tree names it, with elements counted from 1. */
function placeText(path: string): string {
    const steps = path.slice(1).split("/").map((step) => step.replaceAll("~1", "/").replaceAll("~0", "~"));
    return steps.map((step) => (/^\d+$/.test(step) ? String(Number(step) + 1) : step)).join(" › ");
}

function ProblemList({ problems, onShow }: { problems: Problem[]; onShow: (path: string) => void }) {
    if (problems.length === 0) return <p class="fine">Nothing is wrong with it.</p>;
    return (
        <div class={isBroken(problems) ? "problems" : "problems doubtful"} role="group" aria-label="What is wrong">
            <strong>{countText(problems.length, "problem")}</strong>
            <ul>
                {problems.map((problem) => (
                    <li key={problem.path + problem.text}>
                        <span class={`tag ${problem.kind}`}>{problemNames[problem.kind]}</span>{" "}
                        {problem.path && (
                            <button type="button" class="link" onClick={() => onShow(problem.path)}>
                                {placeText(problem.path)}
                            </button>
                        )}{" "}
                        {problem.text}
                    </li>
                ))}
            </ul>
        </div>
    );
}

/** How uploads are looked at; it stays when another one is chosen. */
export interface View {
    tab: string;
    hidesEmpty: boolean;
}

export const firstView: View = { tab: "document", hidesEmpty: true };

type ViewProps = { view: View; onView: (view: View) => void };

function DocumentView({ document, problems, view, onView }: { document: Json; problems: Problem[] } & ViewProps) {
    const { hidesEmpty } = view;
    const context: TreeContext = { problems, meaningOf, hidesEmpty };
    if (!isObject(document)) return <Members value={document} path="" context={context} />;
    const present = sectionOrder.filter((name) => name in document);
    // What says nothing comes last.
    const sections = [...present.filter((name) => isFilled(document[name])), ...present.filter((name) => !isFilled(document[name]))];
    const others = Object.fromEntries(Object.entries(document).filter(([name]) => !sections.some((section) => section === name)));
    const topProblems = problems.filter(({ path }) => path.lastIndexOf("/") === 0 && !sections.some((name) => path === `/${name}`));
    return (
        <>
            <label class="check">
                <input type="checkbox" checked={hidesEmpty} onChange={() => onView({ ...view, hidesEmpty: !hidesEmpty })} /> hide empty values
            </label>
            <div class="tree">
                {(Object.keys(others).length > 0 || topProblems.length > 0) && <Members value={others} path="" context={{ ...context, problems: topProblems }} />}
                {sections.map((name) => {
                    const value = document[name] ?? null;
                    const badge = Array.isArray(value) ? countText(value.length, "record") : undefined;
                    return <Branch name={name} path={`/${name}`} value={value} context={context} isOpen={isFilled(value)} badge={badge} key={name} />;
                })}
            </div>
        </>
    );
}

function RawView({ text, document }: { text: string; document: Json }) {
    const [isLaidOut, setLaidOut] = useState(true);
    const shown = isLaidOut ? laidOut(document) : text;
    return (
        <>
            <label class="check">
                <input type="checkbox" checked={isLaidOut} onChange={() => setLaidOut(!isLaidOut)} /> lay out over lines
            </label>
            <pre class="raw" tabIndex={0}>{shown.slice(0, longestRaw)}</pre>
            {shown.length > longestRaw && <p class="none">The beginning of {countText(shown.length, "character")}.</p>}
        </>
    );
}

/** Opens everything above the place in the document and goes there. */
function goTo(path: string) {
    const place = document.querySelector<HTMLElement>(`.tree [data-path="${CSS.escape(path)}"]`);
    for (let above = place; above; above = above.parentElement) {
        if (above instanceof HTMLDetailsElement) above.open = true;
    }
    if (!place) return;
    place.scrollIntoView({ block: "center" });
    place.tabIndex = -1;
    place.focus({ preventScroll: true });
}

export function Detail({ examined, view, onView }: { examined: Examined } & ViewProps) {
    const setTab = (tab: string) => onView({ ...view, tab });
    const { exchange, document, problems, remark } = examined;
    const show = (path: string) => {
        setTab("document");
        // After the tab's content stands.
        setTimeout(() => goTo(path));
    };
    const tabs = [
        {
            id: "document",
            label: "Document",
            content: () =>
                document === undefined ? (
                    <p class="pending">{exchange.refusal === null ? "The document is too long to be kept here." : "There is none: the body did not decode. The request tells more."}</p>
                ) : (
                    <DocumentView document={document} problems={problems} view={view} onView={onView} />
                ),
        },
        { id: "request", label: "Request", content: () => <RequestView exchange={exchange} /> },
        { id: "reply", label: `Reply ${replyLabel(exchange.given)}`, content: () => <ReplyView given={exchange.given} /> },
    ];
    if (document !== undefined && exchange.json !== null) {
        const text = exchange.json;
        tabs.push({ id: "json", label: "JSON", content: () => <RawView text={text} document={document} /> });
    }
    return (
        <section class="detail" aria-label={`Upload ${exchange.number}`}>
            <h2>
                <span class="number">#{exchange.number}</span> {examined.title} <small>{timeOfDay(exchange.arrivedText)}</small>
            </h2>
            <ProblemList problems={problems} onShow={show} />
            {remark && <p class="remark">{remark}</p>}
            <Tabs label="Views of the upload" tabs={tabs} current={view.tab} onChange={setTab} />
        </section>
    );
}
