// Documents as JSON Lines.

import type { Examined } from "./examined.ts";

export function download(name: string, text: string) {
    const link = document.createElement("a");
    link.href = URL.createObjectURL(new Blob([text], { type: "application/jsonl" }));
    link.download = name;
    link.click();
    URL.revokeObjectURL(link.href);
}

/** Oldest first, each as it came, in one line. */
export function documentLines(newestFirst: Examined[]): string {
    const texts = newestFirst.flatMap(({ exchange }) => exchange.json ?? []).reverse();
    return texts.map((text) => `${text.replace(/[\r\n]/g, " ")}\n`).join("");
}
