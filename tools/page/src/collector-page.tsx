// The page of `harvelstone collect`.

import { useEffect, useMemo, useRef, useState } from "preact/hooks";

import { Chart } from "./chart.tsx";
import { clearExchanges, Collector, type Knowledge } from "./collector.ts";
import { Detail, firstView } from "./detail.tsx";
import { documentLines, download } from "./export.ts";
import { FilterBar, isFiltering, noFilter, passes } from "./filter.tsx";
import { bytesText, countText } from "./format.ts";
import { UploadList } from "./list.tsx";
import { MisbehavePanel } from "./misbehave.tsx";
import { ThemeButton } from "./theme.tsx";

function Header({ knowledge }: { knowledge: Knowledge }) {
    const { exchanges, total, isConnected } = knowledge;
    const bytes = exchanges.reduce((sum, { exchange }) => sum + exchange.bytes.gzip, 0);
    const wrong = exchanges.filter(({ problems }) => problems.length > 0).length;
    return (
        <header>
            <h1>
                <span class="logo" aria-hidden="true" />
                harvelstone <span>collect</span>
            </h1>
            <p role="status" class={isConnected ? "live on" : "live off"}>
                {isConnected ? "Live" : "Not connected"}
            </p>
            <dl class="figures">
                <div>
                    <dt>uploads</dt>
                    <dd data-figure="uploads">{total.toLocaleString("en")}</dd>
                </div>
                <div class={wrong > 0 ? "bad" : ""}>
                    <dt>with problems</dt>
                    <dd data-figure="wrong">{wrong.toLocaleString("en")}</dd>
                </div>
                <div>
                    <dt>on the wire</dt>
                    <dd data-figure="bytes">{bytesText(bytes)}</dd>
                </div>
            </dl>
            <ThemeButton />
        </header>
    );
}

function EmptyStart() {
    const target = `${location.origin}/`;
    return (
        <section class="card empty">
            <h2>Waiting for the first upload</h2>
            <p>Point your app's target address here. Each document shows up the moment it arrives.</p>
            <pre>{target}</pre>
            <p>Or let a scenario play an app:</p>
            <pre>harvelstone replay examples/shop.jsonl --target {target} --documents /tmp/shop-app</pre>
        </section>
    );
}

export function CollectorPage() {
    const [knowledge, setKnowledge] = useState<Knowledge>({ isConnected: false, exchanges: [], total: 0, misbehaviour: null });
    const [filter, setFilter] = useState(noFilter);
    const [selected, setSelected] = useState<number | null>(null);
    const [view, setView] = useState(firstView);
    const search = useRef<HTMLInputElement>(null);
    const list = useRef<HTMLUListElement>(null);

    useEffect(() => {
        document.title = "harvelstone collect";
        new Collector(setKnowledge);
        const focusSearch = (event: KeyboardEvent) => {
            const isTyping = event.target instanceof HTMLElement && event.target.matches("input, textarea");
            if (event.key === "/" && !isTyping) {
                event.preventDefault();
                search.current?.focus();
            } else if (event.key === "Escape" && event.target === search.current) {
                list.current?.focus();
            }
        };
        document.addEventListener("keydown", focusSearch);
        return () => document.removeEventListener("keydown", focusSearch);
    }, []);

    const { exchanges } = knowledge;
    const shown = useMemo(() => exchanges.filter((each) => passes(each, filter)), [exchanges, filter]);
    const chosen = exchanges.find(({ exchange }) => exchange.number === selected);
    // There is always something to look at, and it does not change by itself.
    const newest = exchanges[0];
    if (!chosen && newest) setSelected(newest.exchange.number);

    return (
        <>
            <Header knowledge={knowledge} />
            <main>
                <div class="top">
                    <Chart uploads={exchanges} />
                    <MisbehavePanel misbehaviour={knowledge.misbehaviour} />
                </div>
                {exchanges.length === 0 ? (
                    <EmptyStart />
                ) : (
                    <div class="panes">
                        <section class="card uploads" aria-label="Uploads">
                            <FilterBar uploads={exchanges} filter={filter} onChange={setFilter} input={search} />
                            <p class="actions">
                                <span role="status">{isFiltering(filter) ? `${shown.length} of ${countText(exchanges.length, "upload")}` : countText(exchanges.length, "upload")}</span>
                                <button type="button" onClick={() => download("documents.jsonl", documentLines(shown))}>
                                    Export
                                </button>
                                <button type="button" onClick={() => void clearExchanges()}>
                                    Clear
                                </button>
                            </p>
                            {shown.length === 0 ? <p class="pending">Nothing passes the filter.</p> : <UploadList uploads={shown} selected={selected} onSelect={setSelected} list={list} />}
                        </section>
                        <div class="card">{chosen && <Detail examined={chosen} view={view} onView={setView} key={chosen.exchange.number} />}</div>
                    </div>
                )}
            </main>
        </>
    );
}
