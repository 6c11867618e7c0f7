// Tabs that the arrow keys switch.

import type { ComponentChildren } from "preact";
import { useRef } from "preact/hooks";

export interface Tab {
    id: string;
    label: string;
    content: () => ComponentChildren;
}

export function Tabs(props: { label: string; tabs: Tab[]; current: string; onChange: (id: string) => void }) {
    const { tabs, current, onChange } = props;
    const list = useRef<HTMLDivElement>(null);
    const shown = tabs.find((tab) => tab.id === current) ?? tabs[0];
    const move = (event: KeyboardEvent) => {
        const step = { ArrowRight: 1, ArrowLeft: -1 }[event.key];
        if (!step || !shown) return;
        event.preventDefault();
        const next = tabs[(tabs.indexOf(shown) + step + tabs.length) % tabs.length];
        if (!next) return;
        onChange(next.id);
        list.current?.querySelector<HTMLElement>(`[data-tab="${next.id}"]`)?.focus();
    };
    return (
        <>
            <div class="tabs" role="tablist" aria-label={props.label} ref={list} onKeyDown={move}>
                {tabs.map((tab) => (
                    <button
                        type="button"
                        role="tab"
                        id={`tab-${tab.id}`}
                        data-tab={tab.id}
                        aria-selected={tab === shown}
                        aria-controls="tabpanel"
                        tabIndex={tab === shown ? 0 : -1}
                        onClick={() => onChange(tab.id)}
                        key={tab.id}
                    >
                        {tab.label}
                    </button>
                ))}
            </div>
            <div class="tabpanel" role="tabpanel" id="tabpanel" aria-labelledby={`tab-${shown?.id}`} tabIndex={0} key={shown?.id}>
                {shown?.content()}
            </div>
        </>
    );
}
