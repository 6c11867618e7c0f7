// Which uploads are shown.

import type { RefObject } from "preact";

import { type Examined, type RecordSection, recordSections } from "./examined.ts";

export interface Filter {
    text: string;
    sections: ReadonlySet<RecordSection | "none" | "immediate">;
    onlyWrong: boolean;
}

export const noFilter: Filter = { text: "", sections: new Set(), onlyWrong: false };

export const isFiltering = ({ text, sections, onlyWrong }: Filter) => text.trim() !== "" || sections.size > 0 || onlyWrong;

function kindsOf(examined: Examined): (RecordSection | "none" | "immediate")[] {
    const kinds: (RecordSection | "none" | "immediate")[] = [...examined.records.keys()];
    if (examined.isImmediate) kinds.push("immediate");
    return kinds.length > 0 ? kinds : ["none"];
}

export function passes(examined: Examined, filter: Filter): boolean {
    if (filter.onlyWrong && examined.problems.length === 0) return false;
    if (filter.sections.size > 0 && !kindsOf(examined).some((kind) => filter.sections.has(kind))) return false;
    return filter.text
        .toLowerCase()
        .split(/\s+/)
        .every((word) => examined.searched.includes(word));
}

const kinds: { kind: RecordSection | "none" | "immediate"; label: string }[] = [
    ...recordSections.map((section) => ({ kind: section, label: section })),
    { kind: "immediate", label: "immediate" },
    { kind: "none", label: "no records" },
];

export function FilterBar(props: { uploads: Examined[]; filter: Filter; onChange: (filter: Filter) => void; input: RefObject<HTMLInputElement | null> }) {
    const { uploads, filter, onChange, input } = props;
    const countOf = (kind: RecordSection | "none" | "immediate") => uploads.filter((each) => kindsOf(each).includes(kind)).length;
    const toggle = (kind: RecordSection | "none" | "immediate") => {
        const sections = new Set(filter.sections);
        if (!sections.delete(kind)) sections.add(kind);
        onChange({ ...filter, sections });
    };
    const wrong = uploads.filter(({ problems }) => problems.length > 0).length;
    return (
        <div class="filter" role="search">
            <input
                type="search"
                ref={input}
                value={filter.text}
                placeholder="Filter by text   ( / )"
                aria-label="Filter by text"
                onInput={(event) => onChange({ ...filter, text: event.currentTarget.value })}
            />
            <div class="chips" role="group" aria-label="Filter by kind">
                <button type="button" class="chip wrong" aria-pressed={filter.onlyWrong} onClick={() => onChange({ ...filter, onlyWrong: !filter.onlyWrong })}>
                    with problems <span>{wrong}</span>
                </button>
                {kinds.map(({ kind, label }) => (
                    <button type="button" class={`chip k-${kind}`} aria-pressed={filter.sections.has(kind)} onClick={() => toggle(kind)} key={kind}>
                        {label} <span>{countOf(kind)}</span>
                    </button>
                ))}
            </div>
        </div>
    );
}
